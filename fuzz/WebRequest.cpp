#include <algorithm>
#include <cctype>
#include <set>
#include <string>

#include "Client/Web/WebGate.h"
#include "Support/Text.h"
#include "fuzz/CommandModel.h"
#include "fuzz/Fuzzing.h"

// Any bytes as a request to the page's server: nothing but the page without the key, nothing at all for another host.

namespace zqm {
namespace {

const std::string key = "0123456789abcdef";

/// The values of every header of that name, by a second reading of the lines.
std::set<std::string> valuesOf(std::string_view request, std::string_view name) {
    std::set<std::string> values;
    for (std::string line : pieces(request, "\r\n")) {
        const std::size_t colon = line.find(':');
        std::string its = line.substr(0, colon);
        std::transform(its.begin(), its.end(), its.begin(), [](unsigned char letter) { return letter | 0x20; });
        if (colon == line.npos || its != name) continue;
        values.emplace(trimWhitespace(std::string_view(line).substr(colon + 1)));
    }
    return values;
}

void judge(std::string_view request, const std::string& listen) {
    const auto judged = webQuestion(request, {*parseListenAddress(listen), key});
    if (const auto* refusal = std::get_if<std::string_view>(&judged)) {
        static const std::set<std::string_view> known{"400 Bad Request", "401 Unauthorized", "403 Forbidden",
                                                      "404 Not Found", "405 Method Not Allowed"};
        require(known.contains(*refusal), "a refusal is one of five");
        require(webResponse(*refusal, "text/plain", "{}").ends_with("\r\n\r\n{}"), "its response is whole");
        return;
    }
    const auto& question = std::get<WebQuestion>(judged);
    const auto hosts = valuesOf(request, "host");
    require(std::any_of(hosts.begin(), hosts.end(),
                        [&](const std::string& host) {
                            return host.starts_with("localhost") || host.starts_with("[::1]") ||
                                   host.starts_with("127.") || host.starts_with("192.0.2.7");
                        }),
            "it was asked by a name of its own");
    require(question.route == WebRoute::page || valuesOf(request, "authorization").contains("Bearer " + key),
            "figures want the key");
    require(question.isHead || request.find("GET ") != request.npos, "only these two methods are served");
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    const auto input = textOf(data, size);
    for (const char* listen : {"127.0.0.1:9933", "192.0.2.7:9933"}) {
        judge(input, listen);
        judge("GET /api/now HTTP/1.1\r\nHost: localhost\r\n" + std::string(input), listen);
        judge("GET /api/now HTTP/1.1\r\nAuthorization: Bearer " + key + "\r\n" + std::string(input), listen);
    }
    return 0;
}
