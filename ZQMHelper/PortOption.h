#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

#include "Support/Text.h"

namespace zqm {

/// Declares "--port", which both programs take alike: a decimal number from 1 to 65535, ZQM_PORT where it is not given.
inline void addPortOption(CLI::App& app, std::uint16_t& port, const std::string& description) {
    const auto decimal = [](std::string& text) -> std::string {
        const auto number = text.starts_with('+') ? std::nullopt : parseUnsigned(text);
        if (!number || *number < 1 || *number > 65535)
            return "\"" + text + "\" is no port; --port and ZQM_PORT take 1 to 65535";
        text = std::to_string(*number);  // without zeros at the front, which the parser takes for octal
        return {};
    };
    app.add_option("--port", port, description)
        ->transform(CLI::Validator(decimal, "1 to 65535"))
        ->envname("ZQM_PORT")
        ->capture_default_str();
}

}  // namespace zqm
