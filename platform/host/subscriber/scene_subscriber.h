// A subscriber to the scene frames of one channel.
//
// The scene service listens on a local stream socket. A subscriber sends one line
//
//   SUBSCRIBE CHANNEL MASK\n
//
// with the channel counted from 0 and the sum of the properties it wants (1 bounding box, 2
// polygon, 4 velocity, 8 low-confident objects), both decimal. The service answers "OK\n", or
// "NO\n" when it has no such channel. Frames follow: the length of the payload in 4 bytes,
// big-endian, 8 bytes of time that are not used, and the payload as libscene decodes it.
//
// Results and threads are those of video_scene_subscriber.h.
#ifndef SUBSCRIBER_SCENE_SUBSCRIBER_H
#define SUBSCRIBER_SCENE_SUBSCRIBER_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "video_scene_subscriber.h"

inline constexpr const char* kSubscriberSocket = "/var/run/strata/subscriber";

class SceneSubscriber {
 public:
  enum Property : unsigned { kBoundingBox = 1, kPolygon = 2, kVelocity = 4, kLowConfident = 8 };

  // The format is judged by subscribe(). The service must answer a request within the time-out;
  // frames may then be as far apart as they like. A stream that stalls for the time-out within a
  // frame counts as ended.
  SceneSubscriber(std::string socket_path, int channel, data_format_t format, void* user_data,
                  std::chrono::milliseconds answer_timeout = std::chrono::seconds(5));

  // Ends the subscription.
  ~SceneSubscriber();

  SceneSubscriber(const SceneSubscriber&) = delete;
  SceneSubscriber& operator=(const SceneSubscriber&) = delete;

  // Waits for the service's answer, up to the time-out.
  int subscribe();

  // Ends the subscription, or cuts an attempt short that waits on another thread.
  int unsubscribe();

  // Refused while subscribed or subscribing, as is what a callback of this subscriber asks for.
  int setDisconnectCallback(video_scene_subscriber_disconnect_callback callback);
  int setMessageCallback(video_scene_subscriber_message_callback callback);
  int setEnabled(Property property, bool enabled);

  // True on the thread that calls the callbacks.
  bool isWithinCallback() const;

 private:
  template <typename Change>
  int change(Change apply);

  int ask(const std::string& request) const;
  int startReader();
  bool endReader();
  void run();
  bool readFrame() const;

  const std::string socket_path_;
  const int channel_;
  const data_format_t format_;
  void* const user_data_;
  const std::chrono::milliseconds answer_timeout_;

  std::mutex mutex_;  // never taken by the reader thread, nor held while the service is waited for
  bool is_attempting_ = false;  // the stream stays as it is until the attempt is over
  bool is_cut_short_ = false;
  video_scene_subscriber_disconnect_callback on_disconnect_ = nullptr;
  video_scene_subscriber_message_callback on_message_ = nullptr;
  unsigned properties_ = 0;
  FileDescriptor stream_;
  std::thread reader_;

  std::atomic<bool> is_stopping_ = false;
  std::atomic<bool> has_ended_ = true;  // the reader calls nothing any more
};

#endif
