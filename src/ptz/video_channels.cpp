#include "ptz/video_channels.h"

#include <algorithm>
#include <utility>

bool VideoChannels::addChannel(int channel) {
  if (VideoChannel* known = getVideoChannel(channel)) {
    ++known->refCount;
    return true;
  }
  return addChannel(createChannel(channel));
}

std::unique_ptr<VideoChannel> VideoChannels::createChannel(int channel) {
  // The lens, which may not answer, is only asked for a channel that there is.
  if (!VideoChannel::isMounted(channel)) {
    return nullptr;
  }
  auto created = std::make_unique<VideoChannel>(channel);
  return created->init() ? std::move(created) : nullptr;
}

bool VideoChannels::addChannel(std::unique_ptr<VideoChannel> channel) {
  if (channel == nullptr) {
    return false;
  }
  if (VideoChannel* known = getVideoChannel(channel->getChannel())) {
    ++known->refCount;
    return true;
  }
  channel->refCount = 1;
  channels.push_back(std::move(channel));
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
