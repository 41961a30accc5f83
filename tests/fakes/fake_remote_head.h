#ifndef TESTS_FAKES_FAKE_REMOTE_HEAD_H
#define TESTS_FAKES_FAKE_REMOTE_HEAD_H

#include <glib-unix.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "base/glib_ptr.h"
#include "fakes/private_bus.h"
#include "support/temporary_folder.h"

struct _HeadServicesRemoteCameraControlPTZTravo;

// The remote PTZ head of the tests: the service on the private bus that hands out a socket, and
// what answers on that socket. Every request line is answered by its parameter's script.
class FakeRemoteHead {
 public:
  FakeRemoteHead();
  FakeRemoteHead(const FakeRemoteHead&) = delete;
  FakeRemoteHead& operator=(const FakeRemoteHead&) = delete;
  ~FakeRemoteHead();

  // Answers the parameter with "name=value" and a line feed. One that was never set is answered
  // like that of a head that is not ready.
  void setParameter(const std::string& name, const std::string& value);

  // Answers the parameter with these texts; each is sent when the client has read the one before.
  // No text at all: the connection is closed instead.
  void setReply(const std::string& name, const std::vector<std::string>& parts);

  // The same; then the connection is closed.
  void setLastWords(const std::string& name, const std::vector<std::string>& parts);

  // Takes questions for the parameter and never answers them.
  void fallSilent(const std::string& name);

  // The four limits, the ratio and the number of a complete head.
  void setUp(const std::string& productNumber);

  // Closes every connection; new ones are taken.
  void dropConnections();

  // The next requests for a channel fail that many times.
  void failOpens(int count);

  // Requests for a channel are taken and never answered, or not any more.
  void holdOpens(bool on);

  // What is handed out in the place of the true socket.
  void setPath(const std::string& path);

  std::vector<std::uint32_t> opens();   // channels asked for, in order
  std::vector<std::string> requests();  // lines received, without their line feed, in order
  int connections();                    // ever made

  const std::string& socketPath() const { return path; }

 private:
  static int handleOpenChannel(_HeadServicesRemoteCameraControlPTZTravo* skeleton,
                               GDBusMethodInvocation* invocation, guint channel, gpointer self);
  static gboolean handleListener(gint fd, GIOCondition condition, gpointer self);
  static gboolean handleClient(gint fd, GIOCondition condition, gpointer self);
  struct Script {
    std::vector<std::string> parts;
    bool isEnd = false;  // of the connection
  };

  struct Watched {
    FileDescriptor fd;
    GSourcePtr source;
  };

  void listenAt(const std::string& path);
  void watch(FileDescriptor fd, GUnixFDSourceFunc function);
  bool answer(int fd, const std::string& line);
  void forget(int fd);

  TemporaryFolder folder;
  std::string path;
  std::string handedOut;
  int listener = -1;
  std::map<int, Watched> watched;         // by descriptor
  std::map<int, std::string> unfinished;  // lines, by descriptor
  std::map<std::string, Script> replies;
  std::vector<std::uint32_t> channels;
  std::vector<std::string> lines;
  int opensToFail = 0;
  bool areOpensHeld = false;
  std::vector<GObjectPtr<GDBusMethodInvocation>> heldOpens;
  int accepted = 0;
  BusServices services;
  GObjectPtr<_HeadServicesRemoteCameraControlPTZTravo> skeleton;
};

#endif
