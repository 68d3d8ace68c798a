// The names of the hardware's H.264 components: a fixed table by chip family, and the search of the
// media service's list where the table has no answer.
#pragma once

/// Bytes of every component name buffer, the terminating NUL included.
constexpr int kComponentNameSize = 128;

/// Writes the fixed name of the family's H.264 encoder or decoder into `out` (kComponentNameSize
/// bytes). Returns 1, or 0 with `out` untouched when the family has no fixed name or `out` is null.
int setCodecString(int hardwareBase, char* out, bool encoder);

/// Copies the name of the media service's first component that holds both needles (in any case) and
/// is no software component into `out` (kComponentNameSize bytes; longer names are passed over).
/// Returns 0; 6 when there is none; 3 when the media service cannot be reached. `out` is untouched
/// unless 0 is returned.
int searchForOmxComponent(const char* needle1, const char* needle2, char* out);

/// Whether the media service offers a component of exactly this name.
bool omx_component_is_available(const char* componentName);

namespace zem {

/// What both video codecs do first: detects the hardware, and writes the name of its H.264 encoder or
/// decoder into `name` (kComponentNameSize zeroed bytes). Returns the hardware base, the one that a
/// found component implies when detection gave none; 0 means that no codec can be started. The name
/// stays empty when a known chip's component is not found.
int detectHardwareAndName(bool encoder, char* name);

}  // namespace zem
