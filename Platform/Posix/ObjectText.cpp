#include "Platform/Posix/ObjectText.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

namespace zqm {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view space = " \t\r\n";
constexpr std::size_t deepestNesting = 64;

}  // namespace

ObjectText::ObjectText(std::string text) : text_(std::move(text)) {
    open_ = pastSpace(text_.starts_with(byteOrderMark) ? byteOrderMark.size() : 0);
    if (open_ == text_.size()) text_.insert(open_, "{}\n");
    if (text_[open_] != '{') {
        fault_ = place(open_) + ": not a JSON object";
        return;
    }
    close_ = open_;
    do {
        Member member = memberAt(close_ + 1);
        close_ = pastSpace(member.end);
        if (close_ == text_.size()) {
            fault_ = place(member.begin) + ": the object has no end after this";
            return;
        }
        const bool isNone = member.begin == member.end && text_[close_] == '}' && members_.empty();
        if (!isNone) members_.push_back(std::move(member));
    } while (text_[close_] == ',');
    const std::size_t rest = pastSpace(close_ + 1);
    if (rest != text_.size()) fault_ = place(rest) + ": text after the object's end";
}

std::size_t ObjectText::pastSpace(std::size_t at) const {
    return std::min(text_.find_first_not_of(space, at), text_.size());
}

/// A string ends at the end of its line at the latest, so that a forgotten quotation mark costs no more.
std::size_t ObjectText::pastString(std::size_t at) const {
    for (++at; at < text_.size() && text_[at] != '\n'; ++at) {
        if (text_[at] == '"') return at + 1;
        if (text_[at] == '\\') ++at;
    }
    return std::min(at, text_.size());
}

std::string_view ObjectText::slice(std::size_t begin, std::size_t end) const {
    return std::string_view(text_).substr(begin, end - begin);
}

/// What stands between `before` and the next comma or closing brace of the object itself, or the end of the text.
ObjectText::Member ObjectText::memberAt(std::size_t before) const {
    Member member;
    member.before = before;
    member.begin = member.end = pastSpace(before);
    std::size_t depth = 0;
    for (std::size_t at = member.begin; at < text_.size();) {
        const char character = text_[at];
        if (depth == 0 && (character == ',' || character == '}')) break;
        if (character == '{' || character == '[') ++depth;
        if ((character == '}' || character == ']') && depth > 0) --depth;
        member.isDeep |= depth >= deepestNesting;
        at = character == '"' ? pastString(at) : at + 1;
        if (space.find(character) == space.npos) member.end = at;
    }
    readKey(member);
    return member;
}

void ObjectText::readKey(Member& member) const {
    if (member.begin == member.end || text_[member.begin] != '"') return;
    const std::size_t end = pastString(member.begin);
    const std::size_t colon = pastSpace(end);
    if (colon >= member.end || text_[colon] != ':') return;
    const auto key = Json::parse(slice(member.begin, end), nullptr, false);
    if (!key.is_string()) return;
    member.key = key.get<std::string>();
    member.value = std::min(pastSpace(colon + 1), member.end);
}

std::string_view ObjectText::valueOf(const Member& member) const {
    return slice(member.value, member.end);
}

std::string ObjectText::place(std::size_t offset) const {
    const auto before = slice(0, offset);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const auto column = offset - (before.rfind('\n') + 1) + 1;  // npos + 1 is 0
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

std::string ObjectText::with(std::string_view key, const std::optional<std::string>& value) const {
    if (!value) return without(key);
    const auto found =
        std::find_if(members_.rbegin(), members_.rend(), [&](auto& member) { return member.key == key; });
    if (found == members_.rend()) return inserted(Json(key).dump() + ": " + *value);
    return std::string(text_).replace(found->value, found->end - found->value, *value);
}

/// At the end, set off as the last member is.
std::string ObjectText::inserted(const std::string& member) const {
    if (members_.empty()) return std::string(text_).replace(open_ + 1, close_ - open_ - 1, "\n  " + member + "\n");
    const Member& last = members_.back();
    std::string added(last.begin == last.end ? "" : ",");  // a comma too many at the end is made use of
    added += slice(last.before, last.begin);
    return std::string(text_).insert(last.end, added + member);
}

std::string ObjectText::without(std::string_view key) const {
    std::string kept(slice(0, open_ + 1));
    const Member* previous = nullptr;
    bool isFirst = true;
    for (const Member& member : members_) {
        const std::size_t from = isFirst ? member.before : previous->end;
        previous = &member;
        if (member.key == key) continue;
        kept += slice(from, member.end);
        isFirst = false;
    }
    return kept + text_.substr(members_.empty() ? open_ + 1 : members_.back().end);
}

}  // namespace zqm
