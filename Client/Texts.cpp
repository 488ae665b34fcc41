#include "Client/Texts.h"

#include <algorithm>
#include <clocale>
#include <cstdlib>

#include "Client/Terminal.h"

namespace zqm {
namespace {

constexpr std::size_t placesIn(std::string_view text) {
    std::size_t count = 0;
    for (auto at = text.find("{}"); at != text.npos; at = text.find("{}", at + 2)) ++count;
    return count;
}
static_assert(std::all_of(translations.begin(), translations.end(),
                          [](const Translation& one) { return placesIn(one.english) == placesIn(one.chinese); }));

/// The locale of messages or of characters, as POSIX finds it.
std::string_view localeOf(const char* category) {
    for (const char* name : {"LC_ALL", category, "LANG"}) {
        const char* value = std::getenv(name);
        if (value && *value != '\0') return value;
    }
    return {};
}

}  // namespace

std::string filled(std::string_view text, std::initializer_list<std::string_view> parts) {
    std::string result;
    for (const std::string_view part : parts) {
        const std::size_t place = std::min(text.find("{}"), text.size());
        result += text.substr(0, place);
        result += part;
        text.remove_prefix(std::min(place + 2, text.size()));
    }
    return result += text;
}

void takeLocale() {
    if (std::setlocale(LC_CTYPE, "")) return;
    const std::string_view locale = localeOf("LC_CTYPE");
    const std::string_view characters = locale.substr(std::min(locale.find('.'), locale.size()));
    if (characters == ".UTF-8" || characters == ".utf8") std::setlocale(LC_CTYPE, "C.UTF-8");
}

AppLanguage clientLanguage(UserDefaults& defaults) {
    const auto stored = defaults.stringForKey("language");
    const auto language = stored ? fromRawValue<AppLanguage>(*stored) : std::nullopt;
    if (language) return *language;
    const std::string_view locale = localeOf("LC_MESSAGES");
    const bool isChinese = locale.substr(0, locale.find_first_of("_.@")) == "zh";
    return isChinese && isUtf8Shown() ? AppLanguage::chinese : AppLanguage::english;
}

}  // namespace zqm
