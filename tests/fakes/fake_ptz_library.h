#ifndef TESTS_FAKES_FAKE_PTZ_LIBRARY_H
#define TESTS_FAKES_FAKE_PTZ_LIBRARY_H

#include <ptztolva.h>

#include <functional>
#include <string>
#include <vector>

// The PTZ library of the tests (libptztolva replaced at link time). Process-wide, thread-safe.
namespace FakePtzLibrary {

struct Move {
  int channel;
  std::string source;
  int panKind;
  int tiltKind;
  int zoom;
  int zoomKind;
  double pan;
  double tilt;
  int speed;
  std::vector<int> reserved;  // the four reserved arguments, in order
};

struct Home {
  int channel;
  std::string source;
  int speed;
  std::vector<int> reserved;  // the four reserved arguments, in order
};

void reset();
void setStatus(const ptztolva_status& status);

std::vector<Move> moves();
void clearMoves();
std::vector<Home> homes();
std::vector<int> statusChannels();  // of the status requests, in order
int homeCount();
int statusCount();
int initCount();
int cleanupCount();

// The next calls fail that many times, with the error's message. They are recorded all the same.
void failInits(int count);
void failMoves(int count, const std::string& message);
void failStatus(int count, const std::string& message);
void failHome(int count, const std::string& message);

// What happens while the head is next asked for its status, on the thread that asks.
void duringNextStatus(std::function<void()> function);

// Everything in order: "init", "move", "home", "status", "cleanup".
std::vector<std::string> calls();

}  // namespace FakePtzLibrary

#endif
