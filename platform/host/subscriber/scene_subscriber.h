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
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "base/mutex.h"
#include "video_scene_subscriber.h"

inline constexpr const char* SUBSCRIBER_SOCKET = "/var/run/strata/subscriber";

class SceneSubscriber {
 public:
  enum Property : unsigned { BOUNDING_BOX = 1, POLYGON = 2, VELOCITY = 4, LOW_CONFIDENT = 8 };

  // The format is judged by subscribe(). The service must answer a request within the time-out;
  // frames may then be as far apart as they like. A stream that stalls for the time-out within a
  // frame counts as ended.
  SceneSubscriber(std::string socketPath, int channel, data_format_t format, void* userData,
                  std::chrono::milliseconds answerTimeout = std::chrono::seconds(5));

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

  int beginAttempt() EXCLUDES(mutex);
  int ask() const EXCLUDES(mutex);
  int endAttempt(int result) EXCLUDES(mutex);
  int startReader() REQUIRES(mutex);
  bool endReader();
  void run();
  bool readFrame() const;

  const std::string socketPath;
  const int channel;
  const data_format_t format;
  void* const userData;
  const std::chrono::milliseconds answerTimeout;

  // Never taken by the reader thread, nor held while the service is waited for.
  mutable Mutex mutex;
  bool isAttempting GUARDED_BY(mutex) = false;
  bool isCutShort GUARDED_BY(mutex) = false;

  // Changed with the mutex only, and only while there is neither an attempt nor a reader: both read
  // them without it.
  video_scene_subscriber_disconnect_callback onDisconnect = nullptr;
  video_scene_subscriber_message_callback onMessage = nullptr;
  unsigned properties = 0;
  FileDescriptor stream;
  std::thread reader;

  std::atomic<bool> isStopping = false;
  std::atomic<bool> hasEnded = true;  // the reader calls nothing any more
};

#endif
