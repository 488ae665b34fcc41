#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zqm {

/// The text of a JSON object that people write, member by member: a fault in one member leaves the others readable, and
/// an edit of one leaves every other byte as it is. Blank text is an empty object. One thread at a time.
class ObjectText {
public:
    struct Member {
        std::size_t before = 0;          // offset past the brace or comma before it
        std::size_t begin = 0, end = 0;  // without the white space around it
        std::size_t value = 0;           // offset of its value
        std::optional<std::string> key;  // absent: what stands there is no member
        bool isDeep = false;             // nested so deeply that nobody means it
    };

    explicit ObjectText(std::string text);

    /// Where and why the text as a whole is no object; its members up to there can be read all the same.
    const std::optional<std::string>& fault() const { return fault_; }
    const std::vector<Member>& members() const { return members_; }
    /// Unchecked: whether it is JSON is the reader's business.
    std::string_view valueOf(const Member& member) const;
    /// "line 3, column 5", counted from 1 in bytes.
    std::string place(std::size_t offset) const;

    /// The text with `value`, which is JSON, as the last member of this name, or without any such member. There must be
    /// no fault.
    std::string with(std::string_view key, const std::optional<std::string>& value) const;

private:
    std::size_t pastSpace(std::size_t at) const;
    std::size_t pastString(std::size_t at) const;
    Member memberAt(std::size_t before) const;
    void readKey(Member& member) const;
    std::string_view slice(std::size_t begin, std::size_t end) const;
    std::string inserted(const std::string& member) const;
    std::string without(std::string_view key) const;

    std::string text_;
    std::size_t open_ = 0, close_ = 0;  // offsets of the braces
    std::vector<Member> members_;
    std::optional<std::string> fault_;
};

}  // namespace zqm
