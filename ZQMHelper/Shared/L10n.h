#pragma once

#include "Support/RawValue.h"

namespace zqm {

enum class AppLanguage { chinese, english };
template <>
struct RawValues<AppLanguage> {
    static constexpr std::array<std::string_view, 2> texts{"zh", "en"};
};

/// The interface language of the process. Main thread; set once from the settings.
struct L10n {
    static inline AppLanguage language = AppLanguage::chinese;
};

}  // namespace zqm
