// The chip-identification files of a device that the test makes up.
#pragma once

#include <string>

namespace zem::test {

/// What openIdentificationFile() gives from now on; null: there is no such file.
void setIdentification(const char* buildId, const char* cpuInfo);

}  // namespace zem::test
