#include "fakes/fake_remote_head.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

#include "head_services.h"

namespace {

constexpr auto PATIENCE = std::chrono::seconds(30);

// Whether the other side has read everything, for which this waits.
bool isRead(int fd) {
  const auto end = std::chrono::steady_clock::now() + PATIENCE;
  while (std::chrono::steady_clock::now() < end) {
    int unread = 0;
    if (ioctl(fd, SIOCOUTQ, &unread) != 0) {
      return false;
    }
    if (unread == 0) {
      return true;
    }
    std::this_thread::yield();
  }
  return false;
}

// The parameter that a request line asks for; empty for another kind of line.
std::string parameterOf(const std::string& line) {
  constexpr std::string_view BEFORE = "GET orva-cgi/param.cgi?action=list&group=";
  constexpr std::string_view AFTER = " 1";
  const bool isRequest = line.starts_with(BEFORE) && line.ends_with(AFTER) &&
                         line.size() > BEFORE.size() + AFTER.size();
  return isRequest ? line.substr(BEFORE.size(), line.size() - BEFORE.size() - AFTER.size()) : "";
}

}  // namespace

FakeRemoteHead::FakeRemoteHead()
    : path(folder / "channel"), handedOut(path), services("com.orva.RemoteCameraControl.PTZ") {
  services.invoke([this] {
    listenAt(path);
    skeleton.reset(head_services_remote_camera_control_ptztravo_skeleton_new());
    g_signal_connect(skeleton.get(), "handle-open-channel",
                     G_CALLBACK(&FakeRemoteHead::handleOpenChannel), this);
    services.exportAt(G_DBUS_INTERFACE_SKELETON(skeleton.get()),
                      "/com/orva/RemoteCameraControl/PTZ");
  });
}

FakeRemoteHead::~FakeRemoteHead() {
  dropConnections();
  services.invoke([this] {
    services.withdraw(G_DBUS_INTERFACE_SKELETON(skeleton.get()));
    skeleton.reset();
    heldOpens.clear();
    forget(listener);
  });
}

void FakeRemoteHead::setParameter(const std::string& name, const std::string& value) {
  setReply(name, {name + "=" + value + "\n"});
}

void FakeRemoteHead::setReply(const std::string& name, const std::vector<std::string>& parts) {
  services.invoke([&] { replies[name] = {.parts = parts, .isEnd = parts.empty()}; });
}

void FakeRemoteHead::setLastWords(const std::string& name, const std::vector<std::string>& parts) {
  services.invoke([&] { replies[name] = {.parts = parts, .isEnd = true}; });
}

void FakeRemoteHead::fallSilent(const std::string& name) {
  services.invoke([&] { replies[name] = {}; });
}

void FakeRemoteHead::setUp(const std::string& productNumber) {
  setParameter("Brand.ProdNbr", productNumber);
  setParameter("PTZ.Limit.L1.MinFieldAngle", "25");
  setParameter("PTZ.Limit.L1.MaxFieldAngle", "646");
  setParameter("PTZ.Limit.L1.MinZoom", "1");
  setParameter("PTZ.Limit.L1.MaxZoom", "9999");
  setParameter("ImageSource.I0.Sensor.AspectRatio", "4:3");
  setParameter("Image.I0.Appearance.Resolution", "1280x960");
  setParameter("ImageSource.I0.Video.DetectedType", "");
}

void FakeRemoteHead::dropConnections() {
  services.invoke([this] {
    std::erase_if(watched, [this](const auto& entry) { return entry.first != listener; });
    unfinished.clear();
  });
}

void FakeRemoteHead::failOpens(int count) {
  services.invoke([&] { opensToFail = count; });
}

void FakeRemoteHead::holdOpens(bool on) {
  services.invoke([&] { areOpensHeld = on; });
}

void FakeRemoteHead::setPath(const std::string& newPath) {
  services.invoke([&] { handedOut = newPath; });
}

std::vector<std::uint32_t> FakeRemoteHead::opens() {
  std::vector<std::uint32_t> copy;
  services.invoke([&] { copy = channels; });
  return copy;
}

std::vector<std::string> FakeRemoteHead::requests() {
  std::vector<std::string> copy;
  services.invoke([&] { copy = lines; });
  return copy;
}

int FakeRemoteHead::connections() {
  int count = 0;
  services.invoke([&] { count = accepted; });
  return count;
}

int FakeRemoteHead::handleOpenChannel(_HeadServicesRemoteCameraControlPTZTravo* skeleton,
                                      GDBusMethodInvocation* invocation, guint channel,
                                      gpointer self) {
  auto& head = *static_cast<FakeRemoteHead*>(self);
  head.channels.push_back(channel);
  if (head.areOpensHeld) {
    head.heldOpens.emplace_back(invocation);
  } else if (head.opensToFail > 0) {
    --head.opensToFail;
    g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR, G_DBUS_ERROR_FAILED,
                                                  "no such channel");
  } else {
    head_services_remote_camera_control_ptztravo_complete_open_channel(skeleton, invocation,
                                                                       head.handedOut.c_str());
  }
  return TRUE;
}

gboolean FakeRemoteHead::handleListener(gint fd, GIOCondition, gpointer self) {
  auto& head = *static_cast<FakeRemoteHead*>(self);
  FileDescriptor client(accept4(fd, nullptr, nullptr, SOCK_CLOEXEC));
  if (client.isOpen()) {
    ++head.accepted;
    head.watch(std::move(client), &FakeRemoteHead::handleClient);
  }
  return G_SOURCE_CONTINUE;
}

gboolean FakeRemoteHead::handleClient(gint fd, GIOCondition, gpointer self) {
  auto& head = *static_cast<FakeRemoteHead*>(self);
  char buffer[1024];
  const ssize_t count = recv(fd, buffer, sizeof buffer, 0);
  if (count <= 0) {
    head.forget(fd);
    return G_SOURCE_CONTINUE;
  }
  std::string& text = head.unfinished[fd];
  text.append(buffer, static_cast<std::size_t>(count));
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
    const std::string line = text.substr(0, end);
    text.erase(0, end + 1);
    head.lines.push_back(line);
    if (!head.answer(fd, line)) {
      head.forget(fd);
      break;
    }
  }
  return G_SOURCE_CONTINUE;
}

void FakeRemoteHead::listenAt(const std::string& address) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::strncpy(name.sun_path, address.c_str(), sizeof name.sun_path - 1);
  FileDescriptor socketFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  listener = socketFd.get();
  if (bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
      listen(listener, 8) != 0) {
    throw std::runtime_error("cannot listen at " + address);
  }
  watch(std::move(socketFd), &FakeRemoteHead::handleListener);
}

void FakeRemoteHead::watch(FileDescriptor fd, GUnixFDSourceFunc function) {
  GSourcePtr source(g_unix_fd_source_new(fd.get(), G_IO_IN));
  g_source_set_callback(source.get(), G_SOURCE_FUNC(function), this, nullptr);
  g_source_attach(source.get(), services.getContext());
  const int number = fd.get();
  watched[number] = {std::move(fd), std::move(source)};
}

bool FakeRemoteHead::answer(int fd, const std::string& line) {
  const auto found = replies.find(parameterOf(line));
  const Script script = found != replies.end() ? found->second : Script{.parts = {"0 0\n"}};
  for (std::size_t i = 0; i < script.parts.size(); ++i) {
    const std::string& part = script.parts[i];
    if ((i > 0 && !isRead(fd)) || send(fd, part.data(), part.size(), MSG_NOSIGNAL) < 0) {
      return false;
    }
  }
  return !script.isEnd;
}

void FakeRemoteHead::forget(int fd) {
  unfinished.erase(fd);
  watched.erase(fd);
}
