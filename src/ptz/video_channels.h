#ifndef PTZ_VIDEO_CHANNELS_H
#define PTZ_VIDEO_CHANNELS_H

#include <memory>
#include <vector>

#include "ptz/video_channel.h"

// The video channels in use, each counted by its users.
class VideoChannels {
 public:
  virtual ~VideoChannels() = default;

  // Adds a user of the channel, making the channel for the first one. False, with nothing added,
  // when the channel's geometry is not known.
  bool addChannel(int channel);

  // The same in two steps, for callers that must not wait for the device under a lock: null when
  // the channel's geometry is not known, and then not added. Another user may have added it
  // meanwhile.
  static std::unique_ptr<VideoChannel> createChannel(int channel);
  bool addChannel(std::unique_ptr<VideoChannel> channel);

  // Drops a user. True when it was the last one and the channel is gone; false while it is in use
  // (or not there).
  bool removeChannel(int channel);

  // Null when absent.
  VideoChannel* getVideoChannel(int channel) const;

  void clear() { channels.clear(); }

 private:
  std::vector<std::unique_ptr<VideoChannel>> channels;
};

#endif
