#pragma once

#include <string>
#include <string_view>

/// The shapes of HTTP/1.1 that the servers have in common. Pure.
namespace zqm {

/// Takes the next line that is not empty off the front of `rest`, lines ending with a carriage return and a line feed;
/// empty when there is none left.
std::string_view takeHttpLine(std::string_view& rest);

/// The first line of a request, its pieces separated by spaces; one that is missing is empty.
struct RequestLine {
    std::string_view method, target;
};
RequestLine takeRequestLine(std::string_view& request);

/// A whole response, the last of its connection. `status` is "200 OK", `headers` are whole lines beside the length of
/// the body and the end of the connection.
std::string httpResponse(std::string_view status, std::string_view headers, std::string_view body);

}  // namespace zqm
