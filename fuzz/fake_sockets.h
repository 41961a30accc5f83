#ifndef FUZZ_FAKE_SOCKETS_H
#define FUZZ_FAKE_SOCKETS_H

#include <cstddef>
#include <string>
#include <vector>

#include "fuzz/input.h"

// One call of the program on a socket, and how it went.
struct SocketCall {
  enum class Kind { connect, send, receive };
  enum class Result { done, failed, interrupted };

  Kind kind;
  Result result = Result::done;
  std::string bytes{};    // sent or received; none received is the end of the stream
  std::size_t asked = 0;  // the most that a read takes
};

// The peer of every socket of the program: connect, send and recv of the C library are replaced at
// link time. What a read returns, how much of it, and which call fails is taken from an input, so
// that no peer, thread or time-out is needed. One at a time.
class FakeSockets {
 public:
  // The peer says what the input's front holds; both must outlive this object.
  explicit FakeSockets(fuzz::Input& input);
  FakeSockets(const FakeSockets&) = delete;
  FakeSockets& operator=(const FakeSockets&) = delete;
  ~FakeSockets();

  // The calls since those that were taken last.
  std::vector<SocketCall> takeCalls();

  // All bytes that calls of that kind carried.
  static std::string bytesOf(SocketCall::Kind kind, const std::vector<SocketCall>& calls);

  // For the replaced calls.
  int connect();
  std::ptrdiff_t send(const void* data, std::size_t size);
  std::ptrdiff_t receive(void* data, std::size_t size);

 private:
  int fail(SocketCall call, int error);

  fuzz::Input& input;
  std::vector<SocketCall> calls;
};

#endif
