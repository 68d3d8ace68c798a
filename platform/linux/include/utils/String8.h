// String8: the platform's UTF-8 string.
#pragma once

#include <stddef.h>
#include <utils/Errors.h>

#include <string>

namespace android {

class String16;

/// Always ends in a zero byte; a null pointer makes an empty string. Not thread-safe.
class String8 {
  public:
    String8() = default;
    explicit String8(const char* text);
    explicit String8(const char* text, size_t length);
    /// Code units that form no character become U+FFFD.
    explicit String8(const String16& text);

    static String8 format(const char* text, ...) __attribute__((format(printf, 1, 2)));

    const char* string() const { return mText.c_str(); }
    size_t size() const { return mText.size(); }
    size_t length() const { return mText.size(); }
    bool isEmpty() const { return mText.empty(); }
    operator const char*() const { return mText.c_str(); }  // NOLINT(google-explicit-constructor)

    status_t append(const char* text);

    bool operator==(const String8& other) const { return mText == other.mText; }
    bool operator!=(const String8& other) const { return mText != other.mText; }
    bool operator<(const String8& other) const { return mText < other.mText; }
    bool operator==(const char* other) const { return mText == other; }
    bool operator!=(const char* other) const { return mText != other; }
    bool operator<(const char* other) const { return mText < other; }

  private:
    std::string mText;
};

}  // namespace android
