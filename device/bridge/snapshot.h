#ifndef DEVICE_BRIDGE_SNAPSHOT_H
#define DEVICE_BRIDGE_SNAPSHOT_H

#include <libsoup/soup.h>

#include <cstddef>
#include <functional>
#include <string>

#include "base/glib_ptr.h"
#include "bridge/camera_survey.h"
#include "onvif_client/camera_calls.h"

namespace device::bridge {

// A picture of what a camera sees now, fetched once. In the main loop of its thread.
class Snapshot {
 public:
  static constexpr std::size_t MOST_BYTES = std::size_t{8} << 20;
  static constexpr guint TIME_OUT = 5;  // seconds

  struct Callbacks {
    std::function<void(const std::string& jpeg)> onPicture;
    std::function<void(const std::string& words)> onTrouble;  // for the user; either is the last
  };

  // Throws std::runtime_error for what is no address.
  Snapshot(const std::string& device, onvif::Login login, const CameraAbilities& abilities,
           const std::string& profile, Callbacks callbacks);
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;
  ~Snapshot();

 private:
  void addressCame(const onvif::SoapReply& reply);
  void read(GInputStream* stream);
  void ended();
  static void opened(GObject* session, GAsyncResult* result, gpointer self);
  static void wasRead(GObject* stream, GAsyncResult* result, gpointer self);
  static gboolean authenticate(SoupMessage* message, SoupAuth* auth, gboolean retrying,
                               gpointer self);

  onvif::Login login;
  Callbacks callbacks;
  GObjectPtr<SoupSession> session;
  GObjectPtr<SoupMessage> message;
  GObjectPtr<GCancellable> cancellable;
  std::string picture;  // as far as it has come
  onvif::CameraCalls calls;
};

}  // namespace device::bridge

#endif
