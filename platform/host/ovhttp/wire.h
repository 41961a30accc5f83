// What the web server and an application say to each other.
//
// Each application that answers requests listens on a local stream socket, named after its program,
// in the folder below. The web server connects for each request and sends
//
//   4 bytes   length of what follows, big-endian, at most 4 MiB
//   n bytes   the request, a serialized GVariant of the type "(ayaymaya(ayay)ay)" in the byte order
//             of the machine: path, method, query (nothing where the URL has no "?"), the decoded
//             fields of the query, and the body. All are byte strings, because a URL may carry
//             bytes that are no valid text; all but the body end with a zero.
//
// The application answers with the bytes that its callback wrote, header lines and body, and ends
// the stream. A stream that ends without a byte is a request that was not answered.
#ifndef OVHTTP_WIRE_H
#define OVHTTP_WIRE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

inline constexpr const char* HTTP_SOCKET_FOLDER = "/var/run/strata/http";
inline constexpr std::size_t MAX_HTTP_REQUEST_SIZE = std::size_t{4} << 20;
inline constexpr std::size_t HTTP_LENGTH_SIZE = 4;

struct HttpRequest {
  std::string path;
  std::string method;
  std::optional<std::string> query;
  std::vector<std::pair<std::string, std::string>> fields;
  std::string body;
};

// The request as it is sent, length included. Texts end at their first zero. Nothing when it is
// longer than allowed.
std::optional<std::vector<std::uint8_t>> encodeHttpRequest(const HttpRequest& request);

// The length that the first bytes announce.
std::size_t httpRequestLength(std::span<const std::uint8_t, HTTP_LENGTH_SIZE> bytes);

// The request from the bytes behind the length. Nothing when they are none.
std::optional<HttpRequest> decodeHttpRequest(std::span<const std::uint8_t> bytes);

#endif
