#include "fakes/fake_ptz_library.h"

#include <utility>

#include "base/mutex.h"
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

Mutex s_mutex;  // guards the head
Head s_head;

std::function<void()> takeDuringStatus() {
  const LockGuard lock(s_mutex);
  return std::exchange(s_head.duringStatus, [] {});
}

}  // namespace

namespace FakePtzLibrary {

void reset() {
  const LockGuard lock(s_mutex);
  s_head = Head{};
}

void setStatus(const ptztolva_status& status) {
  const LockGuard lock(s_mutex);
  s_head.status = status;
}

std::vector<Move> moves() {
  const LockGuard lock(s_mutex);
  return s_head.moves;
}

void clearMoves() {
  const LockGuard lock(s_mutex);
  s_head.moves.clear();
}

std::vector<Home> homes() {
  const LockGuard lock(s_mutex);
  return s_head.homes;
}

std::vector<int> statusChannels() {
  const LockGuard lock(s_mutex);
  return s_head.statusChannels;
}

int homeCount() {
  return static_cast<int>(homes().size());
}

int statusCount() {
  return static_cast<int>(statusChannels().size());
}

int initCount() {
  const LockGuard lock(s_mutex);
  return s_head.initCount;
}

int cleanupCount() {
  const LockGuard lock(s_mutex);
  return s_head.cleanupCount;
}

void failInits(int count) {
  const LockGuard lock(s_mutex);
  s_head.initsToFail = count;
}

void failMoves(int count, const std::string& message) {
  const LockGuard lock(s_mutex);
  s_head.moveFailure = {count, message};
}

void failStatus(int count, const std::string& message) {
  const LockGuard lock(s_mutex);
  s_head.statusFailure = {count, message};
}

void failHome(int count, const std::string& message) {
  const LockGuard lock(s_mutex);
  s_head.homeFailure = {count, message};
}

void duringNextStatus(std::function<void()> function) {
  const LockGuard lock(s_mutex);
  s_head.duringStatus = std::move(function);
}

std::vector<std::string> calls() {
  const LockGuard lock(s_mutex);
  return s_head.calls;
}

}  // namespace FakePtzLibrary

extern "C" {

gboolean ptztolva_init(void) {
  const LockGuard lock(s_mutex);
  ++s_head.initCount;
  s_head.note("init");
  if (s_head.initsToFail == 0) {
    return TRUE;
  }
  --s_head.initsToFail;
  return FALSE;
}

void ptztolva_cleanup(void) {
  const LockGuard lock(s_mutex);
  ++s_head.cleanupCount;
  s_head.note("cleanup");
}

gboolean ptztolva_move_ptz_travo(int reservedA, int channel, const char* source, int reservedB,
                                 int panKind, int tiltKind, int zoom, int zoomKind, double pan,
                                 double tilt, int speed, int reservedC, int reservedD,
                                 GError** error) {
  const LockGuard lock(s_mutex);
  s_head.note("move");
  s_head.moves.push_back({.channel = channel,
                          .source = source != nullptr ? source : "",
                          .panKind = panKind,
                          .tiltKind = tiltKind,
                          .zoom = zoom,
                          .zoomKind = zoomKind,
                          .pan = pan,
                          .tilt = tilt,
                          .speed = speed,
                          .reserved = {reservedA, reservedB, reservedC, reservedD}});
  return s_head.moveFailure.strikes(error) ? FALSE : TRUE;
}

gboolean ptztolva_goto_home(int reservedA, int channel, const char* source, int reservedB,
                            int speed, int reservedC, int reservedD, GError** error) {
  const LockGuard lock(s_mutex);
  s_head.note("home");
  s_head.homes.push_back({.channel = channel,
                          .source = source != nullptr ? source : "",
                          .speed = speed,
                          .reserved = {reservedA, reservedB, reservedC, reservedD}});
  return s_head.homeFailure.strikes(error) ? FALSE : TRUE;
}

gboolean ptztolva_get_ptz_status(int channel, ptztolva_status* status, GError** error) {
  takeDuringStatus()();
  const LockGuard lock(s_mutex);
  s_head.note("status");
  s_head.statusChannels.push_back(channel);
  if (s_head.statusFailure.strikes(error)) {
    return FALSE;
  }
  *status = s_head.status;
  return TRUE;
}

}  // extern "C"
