#include "fakes/fake_ptz_library.h"

#include <mutex>
#include <utility>

#include "fakes/call_journal.h"

namespace {

struct Failure {
  int count = 0;
  std::string message;

  bool strikes(GError** error) {
    if (count == 0) {
      return false;
    }
    --count;
    g_set_error_literal(error, g_quark_from_static_string("fake-ptz-library"), 1, message.c_str());
    return true;
  }
};

struct Head {
  ptztolva_status status{};
  std::vector<FakePtzLibrary::Move> moves;
  std::vector<FakePtzLibrary::Home> homes;
  std::vector<int> statusChannels;
  int initCount = 0;
  int cleanupCount = 0;
  int initsToFail = 0;
  Failure moveFailure;
  Failure statusFailure;
  Failure homeFailure;
  std::vector<std::string> calls;
  std::function<void()> duringStatus = [] {};

  void note(const std::string& call) {
    calls.push_back(call);
    CallJournal::add("ptz " + call);
  }
};

std::mutex mutex;  // guards the head
Head head;

std::function<void()> takeDuringStatus() {
  const std::lock_guard lock(mutex);
  return std::exchange(head.duringStatus, [] {});
}

}  // namespace

namespace FakePtzLibrary {

void reset() {
  const std::lock_guard lock(mutex);
  head = Head{};
}

void setStatus(const ptztolva_status& status) {
  const std::lock_guard lock(mutex);
  head.status = status;
}

std::vector<Move> moves() {
  const std::lock_guard lock(mutex);
  return head.moves;
}

void clearMoves() {
  const std::lock_guard lock(mutex);
  head.moves.clear();
}

std::vector<Home> homes() {
  const std::lock_guard lock(mutex);
  return head.homes;
}

std::vector<int> statusChannels() {
  const std::lock_guard lock(mutex);
  return head.statusChannels;
}

int homeCount() {
  return static_cast<int>(homes().size());
}

int statusCount() {
  return static_cast<int>(statusChannels().size());
}

int initCount() {
  const std::lock_guard lock(mutex);
  return head.initCount;
}

int cleanupCount() {
  const std::lock_guard lock(mutex);
  return head.cleanupCount;
}

void failInits(int count) {
  const std::lock_guard lock(mutex);
  head.initsToFail = count;
}

void failMoves(int count, const std::string& message) {
  const std::lock_guard lock(mutex);
  head.moveFailure = {count, message};
}

void failStatus(int count, const std::string& message) {
  const std::lock_guard lock(mutex);
  head.statusFailure = {count, message};
}

void failHome(int count, const std::string& message) {
  const std::lock_guard lock(mutex);
  head.homeFailure = {count, message};
}

void duringNextStatus(std::function<void()> function) {
  const std::lock_guard lock(mutex);
  head.duringStatus = std::move(function);
}

std::vector<std::string> calls() {
  const std::lock_guard lock(mutex);
  return head.calls;
}

}  // namespace FakePtzLibrary

extern "C" {

gboolean ptztolva_init(void) {
  const std::lock_guard lock(mutex);
  ++head.initCount;
  head.note("init");
  if (head.initsToFail == 0) {
    return TRUE;
  }
  --head.initsToFail;
  return FALSE;
}

void ptztolva_cleanup(void) {
  const std::lock_guard lock(mutex);
  ++head.cleanupCount;
  head.note("cleanup");
}

gboolean ptztolva_move_ptz_travo(int reserved_a, int channel, const char* source, int reserved_b,
                                 int pan_kind, int tilt_kind, int zoom, int zoom_kind, double pan,
                                 double tilt, int speed, int reserved_c, int reserved_d,
                                 GError** error) {
  const std::lock_guard lock(mutex);
  head.note("move");
  head.moves.push_back({.channel = channel,
                        .source = source != nullptr ? source : "",
                        .panKind = pan_kind,
                        .tiltKind = tilt_kind,
                        .zoom = zoom,
                        .zoomKind = zoom_kind,
                        .pan = pan,
                        .tilt = tilt,
                        .speed = speed,
                        .reserved = {reserved_a, reserved_b, reserved_c, reserved_d}});
  return head.moveFailure.strikes(error) ? FALSE : TRUE;
}

gboolean ptztolva_goto_home(int reserved_a, int channel, const char* source, int reserved_b,
                            int speed, int reserved_c, int reserved_d, GError** error) {
  const std::lock_guard lock(mutex);
  head.note("home");
  head.homes.push_back({.channel = channel,
                        .source = source != nullptr ? source : "",
                        .speed = speed,
                        .reserved = {reserved_a, reserved_b, reserved_c, reserved_d}});
  return head.homeFailure.strikes(error) ? FALSE : TRUE;
}

gboolean ptztolva_get_ptz_status(int channel, ptztolva_status* status, GError** error) {
  takeDuringStatus()();
  const std::lock_guard lock(mutex);
  head.note("status");
  head.statusChannels.push_back(channel);
  if (head.statusFailure.strikes(error)) {
    return FALSE;
  }
  *status = head.status;
  return TRUE;
}

}  // extern "C"
