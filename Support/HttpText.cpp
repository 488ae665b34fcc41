#include "Support/HttpText.h"

#include <algorithm>

#include "Support/Text.h"

namespace zqm {
namespace {

constexpr std::string_view lineEnd = "\r\n";

std::string_view takePiece(std::string_view& rest) {
    while (rest.starts_with(' ')) rest.remove_prefix(1);
    return takeUntil(rest, ' ');
}

}  // namespace

std::string_view takeHttpLine(std::string_view& rest) {
    while (rest.starts_with(lineEnd)) rest.remove_prefix(lineEnd.size());
    const auto line = rest.substr(0, rest.find(lineEnd));
    rest.remove_prefix(line.size());
    return line;
}

RequestLine takeRequestLine(std::string_view& request) {
    auto line = takeHttpLine(request);
    const auto method = takePiece(line);
    return {method, takePiece(line)};
}

RequestTarget targetOf(std::string_view request) {
    RequestLine line = takeRequestLine(request);
    const bool isHead = line.method == "HEAD";
    if (!isHead && line.method != "GET") return {};
    const std::string_view path = takeUntil(line.target, '?');
    return {path, line.target, isHead};
}

std::string_view headerOf(std::string_view request, std::string_view name) {
    for (auto value = takeHttpLine(request); !value.empty(); value = takeHttpLine(request)) {
        const std::string_view its = takeUntil(value, ':');
        const bool isIt = std::equal(its.begin(), its.end(), name.begin(), name.end(),
                                     [](char a, char b) { return (a | 0x20) == b; });
        if (isIt) return trimWhitespace(value);
    }
    return {};
}

double weightOf(std::string_view accepted, std::string_view type, std::string_view version) {
    while (!accepted.empty()) {
        std::string_view range = takeUntil(accepted, ',');
        if (trimWhitespace(takeUntil(range, ';')) != type) continue;
        double weight = 1;
        bool isOurs = true;
        while (!range.empty()) {
            std::string_view value = takeUntil(range, ';');
            const std::string_view name = trimWhitespace(takeUntil(value, '='));
            if (name == "version") isOurs = trimWhitespace(value) == version;
            if (name == "q") weight = std::clamp(parseDouble(trimWhitespace(value)).value_or(0), 0.0, 1.0);
        }
        if (isOurs) return weight;
    }
    return 0;
}

std::string headOf(std::string response) {
    constexpr std::string_view end = "\r\n\r\n";
    response.resize(response.find(end) + end.size());
    return response;
}

std::string httpResponse(std::string_view status, std::string_view headers, std::string_view body) {
    const std::string length = std::to_string(body.size());
    std::string response;
    response.reserve(80 + status.size() + headers.size() + body.size());
    for (const std::string_view part :
         {std::string_view("HTTP/1.1 "), status, lineEnd, headers, std::string_view("Content-Length: "),
          std::string_view(length), std::string_view("\r\nConnection: close\r\n\r\n"), body}) {
        response += part;
    }
    return response;
}

}  // namespace zqm
