// What the PTZ head replies to requests for its parameters, in any pieces.
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fakes/log_capture.h"
#include "fuzz/fake_bus.h"
#include "fuzz/fake_sockets.h"
#include "fuzz/input.h"
#include "fuzz/require.h"
#include "ptz/ptz_remote_travo.h"

namespace {

using fuzz::require;
using Kind = SocketCall::Kind;
using Result = SocketCall::Result;

constexpr std::size_t LONGEST_READ = 255;
constexpr int MOST_QUESTIONS = 6;

// What the link must have made of the calls that it made, by the rules of the protocol.
class Protocol {
 public:
  explicit Protocol(bool canOpen) : canOpen(canOpen) {}

  void setCalls(std::vector<SocketCall> newCalls) {
    calls = std::move(newCalls);
    position = 0;
  }

  // The value of a parameter that is asked for next.
  std::optional<std::string> ask(const std::string& name) {
    if (!send("GET orva-cgi/param.cgi?action=list&group=" + name + " 1\n")) {
      return std::nullopt;
    }
    std::optional<std::string> reply = receive();
    if (!reply) {
      return std::nullopt;
    }
    if (!hasWhole(*reply, name)) {
      const bool isBegun = reply->find(name) != std::string::npos;
      if (!isBegun && reply->find("0 0") != std::string::npos) {
        return std::nullopt;
      }
      if (!isOpen) {
        return std::nullopt;
      }
      const std::string beginning = isBegun ? *reply : "";
      reply = receive();
      if (!reply) {
        return std::nullopt;
      }
      reply = beginning + *reply;
    }
    if (!hasWhole(*reply, name)) {
      return std::nullopt;
    }
    const std::size_t equals = reply->rfind('=');
    if (equals == std::string::npos || equals < reply->rfind(name)) {
      return std::nullopt;
    }
    std::string value = reply->substr(equals + 1);
    if (value.find('\n') == std::string::npos) {
      return std::nullopt;
    }
    value = value.substr(0, value.find('\n'));
    if (value.ends_with('\r')) {
      value.pop_back();
    }
    return value;
  }

  void finish() const { require(position == calls.size(), "nothing more is read or sent"); }

 private:
  // Whether a line of that name is there to its end: its last place counts.
  static bool hasWhole(const std::string& reply, const std::string& name) {
    const std::size_t found = reply.rfind(name);
    return found != std::string::npos && reply.substr(found).find('\n') != std::string::npos;
  }

  const SocketCall& next(Kind kind) {
    require(position < calls.size() && calls[position].kind == kind, "calls are as they must");
    return calls[position++];
  }

  bool send(const std::string& line) {
    for (int attempt = 0; attempt < 2; ++attempt) {
      if (!isOpen && (!canOpen || next(Kind::connect).result != Result::done)) {
        return false;
      }
      const SocketCall& call = next(Kind::send);
      require(call.bytes == line, "the request is one line", call.bytes);
      isOpen = call.result == Result::done;
      if (isOpen) {
        return true;
      }
    }
    return false;
  }

  // The text of one read, which ends at a zero.
  std::optional<std::string> receive() {
    const SocketCall* call = nullptr;
    do {
      call = &next(Kind::receive);
      require(call->asked <= LONGEST_READ, "a read takes at most 255 bytes");
    } while (call->result == Result::interrupted);
    isOpen = call->result == Result::done && !call->bytes.empty();
    if (call->result == Result::failed) {
      return std::nullopt;
    }
    return call->bytes.substr(0, call->bytes.find('\0'));
  }

  const bool canOpen;
  bool isOpen = false;
  std::vector<SocketCall> calls;
  std::size_t position = 0;
};

long long integerOf(const std::string& text) {
  return std::strtoll(text.c_str(), nullptr, 10);
}

// Whether a number can be read from its beginning.
bool isNumber(const std::string& text, bool mayHaveDecimals) {
  char* end = nullptr;
  if (mayHaveDecimals) {
    std::strtod(text.c_str(), &end);
  } else {
    std::strtoll(text.c_str(), &end, 10);
  }
  return end != text.c_str();
}

bool fitsInt(long long value) {
  return value >= INT32_MIN && value <= INT32_MAX;
}

// "A:B" or "AxB"; 0 when it is neither.
double ratioOf(const std::string& text, char separator) {
  const std::size_t position = text.find(separator);
  if (position == std::string::npos) {
    return 0;
  }
  const long long divisor = integerOf(text.substr(position + 1));
  return divisor == 0 ? 0 : static_cast<double>(integerOf(text)) / static_cast<double>(divisor);
}

double expectedRatio(Protocol& protocol) {
  const auto sensor = protocol.ask("ImageSource.I0.Sensor.AspectRatio");
  const std::string resolution = protocol.ask("Image.I0.Appearance.Resolution").value_or("");
  const std::string type = protocol.ask("ImageSource.I0.Video.DetectedType").value_or("");
  if (sensor && !sensor->empty()) {
    return ratioOf(*sensor, ':');
  }
  const double ratio = ratioOf(resolution, 'x');
  if (std::fabs(ratio) >= 0.001) {
    return ratio;
  }
  const bool isAnalog = type == "pal" || type == "PAL" || type == "ntsc" || type == "NTSC";
  return isAnalog ? 1.3333333730697632 : 1.0;
}

// Asks the link and the rules the same question.
class Questioner {
 public:
  Questioner(PtzRemoteTravo& link, FakeSockets& sockets, bool canOpen)
      : link(link), sockets(sockets), protocol(canOpen) {}

  void ask(int question) {
    switch (question) {
      case 0:
        return askNumber();
      case 1:
        return askAngle("PTZ.Limit.L1.MinFieldAngle", &PtzRemoteTravo::getMinFieldAngle);
      case 2:
        return askAngle("PTZ.Limit.L1.MaxFieldAngle", &PtzRemoteTravo::getMaxFieldAngle);
      case 3:
        return askZoom("PTZ.Limit.L1.MinZoom", &PtzRemoteTravo::getMinZoom);
      case 4:
        return askZoom("PTZ.Limit.L1.MaxZoom", &PtzRemoteTravo::getMaxZoom);
      default:
        return askRatio();
    }
  }

 private:
  void askNumber() {
    std::string number = "untouched";
    const bool isKnown = link.getProdNbr(number);
    const auto expected = expect("Brand.ProdNbr");
    require(isKnown == expected.has_value(), "a number is known when it was replied");
    require(number == expected.value_or("untouched"), "the number is as it was replied", number);
  }

  void askAngle(const char* name, bool (PtzRemoteTravo::*get)(double&)) {
    constexpr double UNTOUCHED = -1234.5;
    double degrees = UNTOUCHED;
    const bool isKnown = (link.*get)(degrees);
    const auto expected = expect(name);
    const double tenths = expected ? std::strtod(expected->c_str(), nullptr) : 0;
    require(isKnown == (expected && isNumber(*expected, true) && std::isfinite(tenths)),
            "an angle is known when it was replied");
    require(degrees == (isKnown ? tenths / 10 : UNTOUCHED), "an angle is told in tenths");
  }

  void askZoom(const char* name, bool (PtzRemoteTravo::*get)(int&)) {
    constexpr int UNTOUCHED = -12345;
    int zoom = UNTOUCHED;
    const bool isKnown = (link.*get)(zoom);
    const auto expected = expect(name);
    require(isKnown == (expected && isNumber(*expected, false)),
            "a zoom is known when a number was replied");
    if (!isKnown) {
      require(zoom == UNTOUCHED, "what is not known is not written");
    }
    if (isKnown && fitsInt(integerOf(*expected))) {
      require(zoom == integerOf(*expected), "a zoom is a whole number");
    }
  }

  void askRatio() {
    double ratio = NAN;
    require(link.getAspectRatio(ratio), "there is always a ratio");
    protocol.setCalls(sockets.takeCalls());
    require(ratio == expectedRatio(protocol), "the ratio follows from the three parameters");
    protocol.finish();
  }

  std::optional<std::string> expect(const char* name) {
    protocol.setCalls(sockets.takeCalls());
    auto value = protocol.ask(name);
    protocol.finish();
    return value;
  }

  PtzRemoteTravo& link;
  FakeSockets& sockets;
  Protocol protocol;
};

// The descriptor that the next file or socket gets.
int nextDescriptor() {
  const int next = fcntl(STDERR_FILENO, F_DUPFD, 0);
  close(next);
  return next;
}

bool takeService(fuzz::Input& input) {
  using FakeBus::Reply;
  constexpr Reply FAILING[] = {Reply::none, Reply::error, Reply::nothing, Reply::number};
  const int kind = input.between(0, 31);
  const std::string path(input.byte(), 'p');
  FakeBus::setService(kind < 4 ? FAILING[kind] : Reply::text, path);
  return kind >= 4;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const int before = nextDescriptor();
  const bool canOpen = takeService(input);
  const int questions = input.between(0, MOST_QUESTIONS);
  {
    FakeSockets sockets(input);
    PtzRemoteTravo link;
    Questioner questioner(link, sockets, canOpen);
    for (int i = 0; i <= questions; ++i) {
      questioner.ask(input.between(0, 5));
    }
  }
  require(nextDescriptor() == before, "no socket is left open");
  LogCapture::clear();
  return 0;
}
