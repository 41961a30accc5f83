#include "ptz/video_channels.h"

#include <algorithm>
#include <utility>

bool VideoChannels::addChannel(int channel) {
  if (VideoChannel* known = getVideoChannel(channel)) {
    ++known->refCount;
    return true;
  }
  auto added = std::make_unique<VideoChannel>(channel);
  if (!added->init()) {
    return false;
  }
  added->refCount = 1;
  channels.push_back(std::move(added));
  return true;
}

bool VideoChannels::removeChannel(int channel) {
  for (auto it = channels.begin(); it != channels.end(); ++it) {
    if ((*it)->getChannel() == channel && --(*it)->refCount < 1) {
      channels.erase(it);
      return true;
    }
  }
  return false;
}

VideoChannel* VideoChannels::getVideoChannel(int channel) const {
  const auto found = std::ranges::find(channels, channel, &VideoChannel::getChannel);
  return found == channels.end() ? nullptr : found->get();
}
