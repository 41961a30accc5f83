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
