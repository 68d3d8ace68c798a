// String8 and String16: construction, and conversion between UTF-8 and UTF-16.
#include <utils/String16.h>
#include <utils/String8.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace android {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// The length of the UTF-8 sequence that starts with this byte; 0 when none does.
int sequenceLength(uint8_t lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// Takes one character off `text` at `*at`; a malformed byte counts as one replacement character.
char32_t takeUtf8(const char* text, size_t length, size_t* at) {
    const auto lead = static_cast<uint8_t>(text[(*at)++]);
    const int count = sequenceLength(lead);
    if (count == 1) {
        return lead;
    }
    if (count == 0 || length - *at < static_cast<size_t>(count - 1)) {
        return kReplacement;
    }
    char32_t character = lead & (0x7F >> count);
    for (int i = 0; i < count - 1; ++i) {
        const auto next = static_cast<uint8_t>(text[*at + static_cast<size_t>(i)]);
        if ((next & 0xC0) != 0x80) {
            return kReplacement;
        }
        character = character << 6 | (next & 0x3F);
    }
    const bool overlong = (count == 3 && character < 0x800) || (count == 4 && character < 0x10000);
    const bool surrogate = character >= 0xD800 && character < 0xE000;
    if (overlong || surrogate || character > 0x10FFFF) {
        return kReplacement;
    }
    *at += static_cast<size_t>(count - 1);
    return character;
}

std::u16string toUtf16(const char* text, size_t length) {
    std::u16string result;
    for (size_t at = 0; at < length;) {
        const char32_t character = takeUtf8(text, length, &at);
        if (character < 0x10000) {
            result.push_back(static_cast<char16_t>(character));
        } else {
            result.push_back(static_cast<char16_t>(0xD7C0 + (character >> 10)));
            result.push_back(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
        }
    }
    return result;
}

void appendUtf8(std::string* out, char32_t character) {
    if (character < 0x80) {
        out->push_back(static_cast<char>(character));
        return;
    }
    const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    const unsigned lead = 0xF00U >> (more + 1);  // as many leading ones as the sequence has bytes
    out->push_back(static_cast<char>((lead & 0xFF) | (character >> (6 * more))));
    for (int i = more - 1; i >= 0; --i) {
        out->push_back(static_cast<char>(0x80 | ((character >> (6 * i)) & 0x3F)));
    }
}

std::string toUtf8(const char16_t* text, size_t length) {
    std::string result;
    for (size_t at = 0; at < length; ++at) {
        char32_t character = text[at];
        const bool high = character >= 0xD800 && character < 0xDC00;
        if (high && at + 1 < length && (text[at + 1] & 0xFC00) == 0xDC00) {
            character = 0x10000 + ((character - 0xD800) << 10) + (text[++at] & 0x3FFU);
        } else if (character >= 0xD800 && character < 0xE000) {
            character = kReplacement;
        }
        appendUtf8(&result, character);
    }
    return result;
}

}  // namespace

String8::String8(const char* text) : mText(text != nullptr ? text : "") {}
String8::String8(const char* text, size_t length) {
    if (text != nullptr) {
        mText.assign(text, length);
    }
}
String8::String8(const String16& text) : mText(toUtf8(text.string(), text.size())) {}

String8 String8::format(const char* text, ...) {
    String8 result;
    va_list arguments;
    va_start(arguments, text);
    const int length = vsnprintf(nullptr, 0, text, arguments);
    va_end(arguments);
    if (length > 0) {
        result.mText.resize(static_cast<size_t>(length));
        va_start(arguments, text);
        vsnprintf(result.mText.data(), static_cast<size_t>(length) + 1, text, arguments);
        va_end(arguments);
    }
    return result;
}

status_t String8::append(const char* text) {
    if (text == nullptr) {
        return BAD_VALUE;
    }
    mText.append(text);
    return OK;
}

String16::String16(const char* text) : String16(text, text != nullptr ? strlen(text) : 0) {}
String16::String16(const char* text, size_t length)
    : mText(text != nullptr ? toUtf16(text, length) : std::u16string()) {}
String16::String16(const String8& text) : mText(toUtf16(text.string(), text.size())) {}
String16::String16(const char16_t* text) {
    if (text != nullptr) {
        mText = text;
    }
}

}  // namespace android
