#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace zqm {

/// Appends `text` to `out` as a quoted JSON string: quotation mark, reverse solidus and control characters escaped,
/// malformed UTF-8 repaired, every other character as it is. `escapeSolidus` also writes "/" as "\/".
void appendJsonString(std::string& out, std::string_view text, bool escapeSolidus = false);

/// Writes one compact JSON text, members in the order of the calls, commas placed by the writer.
///
/// A double that is not finite cannot be written: `failed()` then turns true and the text is to be thrown away.
class JsonWriter {
public:
    void beginObject() { open('{'); }
    void endObject() { close('}'); }
    void beginArray() { open('['); }
    void endArray() { close(']'); }
    /// `name` must need no escaping: the names of records are identifiers.
    void key(std::string_view name);
    /// A member name that comes from outside.
    void escapedKey(std::string_view name);

    void null() { plain("null"); }
    void value(bool flag) { plain(flag ? "true" : "false"); }
    void value(double number);  // shortest form that reads back to the same double
    void value(std::int64_t number);
    void value(std::uint64_t number);
    void value(std::string_view text);
    void value(const char* text) = delete;  // would convert to bool

    bool failed() const { return failed_; }
    const std::string& text() const { return text_; }
    std::string take() { return std::move(text_); }
    void reserve(std::size_t bytes) { text_.reserve(bytes); }

private:
    void open(char bracket);
    void close(char bracket);
    void plain(std::string_view token);
    void separate();

    std::string text_;
    bool needsComma_ = false;
    bool failed_ = false;
};

}  // namespace zqm
