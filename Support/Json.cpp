#include "Support/Json.h"

#include <array>
#include <charconv>
#include <cmath>

#include "Support/Hexadecimal.h"
#include "Support/Text.h"

namespace zqm {
namespace {

void appendEscaped(std::string& out, char c) {
    switch (c) {
        case '\b':
            out += "\\b";
            return;
        case '\t':
            out += "\\t";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\f':
            out += "\\f";
            return;
        case '\r':
            out += "\\r";
            return;
        case '"':
        case '\\':
        case '/':
            out += '\\';
            out += c;
            return;
        default:
            out += "\\u00";
            appendHexadecimal(out, static_cast<std::uint8_t>(c));
    }
}

template <class Number>
std::string_view format(std::array<char, 32>& buffer, Number number) {
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
    return {buffer.data(), result.ptr};
}

}  // namespace

void appendJsonString(std::string& out, std::string_view text, bool escapeSolidus) {
    if (!isValidUtf8(text)) return appendJsonString(out, repairUtf8(text), escapeSolidus);
    out += '"';
    for (char c : text) {
        const bool control = static_cast<unsigned char>(c) < 0x20;
        if (control || c == '"' || c == '\\' || (c == '/' && escapeSolidus)) {
            appendEscaped(out, c);
        } else {
            out += c;
        }
    }
    out += '"';
}

void JsonWriter::key(std::string_view name) {
    separate();
    text_ += '"';
    text_ += name;
    text_ += "\":";
    needsComma_ = false;
}

void JsonWriter::escapedKey(std::string_view name) {
    separate();
    appendJsonString(text_, name, true);
    text_ += ':';
    needsComma_ = false;
}

void JsonWriter::value(double number) {
    std::array<char, 32> buffer;
    if (!std::isfinite(number)) failed_ = true;
    plain(format(buffer, number));
}

void JsonWriter::value(std::int64_t number) {
    std::array<char, 32> buffer;
    plain(format(buffer, number));
}

void JsonWriter::value(std::uint64_t number) {
    std::array<char, 32> buffer;
    plain(format(buffer, number));
}

void JsonWriter::value(std::string_view text) {
    separate();
    appendJsonString(text_, text, true);
}

void JsonWriter::open(char bracket) {
    separate();
    text_ += bracket;
    needsComma_ = false;
}

void JsonWriter::close(char bracket) {
    text_ += bracket;
    needsComma_ = true;
}

void JsonWriter::plain(std::string_view token) {
    separate();
    text_ += token;
}

void JsonWriter::separate() {
    if (needsComma_) text_ += ',';
    needsComma_ = true;
}

}  // namespace zqm
