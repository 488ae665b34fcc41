#pragma once

#include <string_view>

namespace zqm {

/// The whole page that `zephlon web` serves at "/", UTF-8: one document whose style and script stand in it. It is put
/// together from Client/Web/page when the program is built (scripts/lib/assemble-page) and stays the same while it
/// runs.
std::string_view page();

/// The value of the header Content-Security-Policy that belongs to it: this style and this script by their hashes,
/// requests to where it came from, and nothing else.
std::string_view pagePolicy();

}  // namespace zqm
