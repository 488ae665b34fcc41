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

/// What a GET or HEAD asks for; an empty path for everything else.
struct RequestTarget {
    std::string_view path, query;
    bool isHead = false;
};
RequestTarget targetOf(std::string_view request);

/// The value of the request's first header of that name, which is given in small letters; empty when it has none.
std::string_view headerOf(std::string_view request, std::string_view name);

/// How much a client wants a type of content by the value of its "Accept", 0…1; 0 where it does not name the type, or
/// only in another version.
double weightOf(std::string_view accepted, std::string_view type, std::string_view version);

/// Of the response to a GET what answers a HEAD: all but the body.
std::string headOf(std::string response);

/// A whole response, the last of its connection. `status` is "200 OK", `headers` are whole lines beside the length of
/// the body and the end of the connection.
std::string httpResponse(std::string_view status, std::string_view headers, std::string_view body);

}  // namespace zqm
