// String16: the platform's UTF-16 string, in which services and interfaces are named.
#pragma once

#include <stddef.h>

#include <string>

namespace android {

class String8;

/// Every conversion is explicit, as in the platform. A null pointer makes an empty string.
class String16 {
  public:
    String16() = default;
    /// From UTF-8; bytes that form no character become U+FFFD.
    explicit String16(const char* text);
    explicit String16(const char* text, size_t length);
    explicit String16(const String8& text);
    explicit String16(const char16_t* text);

    const char16_t* string() const { return mText.c_str(); }
    size_t size() const { return mText.size(); }

  private:
    std::u16string mText;
};

}  // namespace android
