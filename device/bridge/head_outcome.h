#ifndef DEVICE_BRIDGE_HEAD_OUTCOME_H
#define DEVICE_BRIDGE_HEAD_OUTCOME_H

#include "bridge/head_moves.h"
#include "onvif_client/soap_reply.h"

namespace device::bridge {

// What a head's answer to a call means for the next ones. Only what carried a Timeout can be
// refused for it.
inline HeadMoves::Outcome outcomeOf(const onvif::SoapReply& reply, bool hadTimeout) {
  if (reply.ok()) {
    return {.ok = true, .isTimeoutRefused = false, .isOperationMissing = false};
  }
  const onvif::Failure& failure = reply.failure();
  const bool isRefused = failure.trouble == onvif::Trouble::refused;
  return {.ok = false,
          .isTimeoutRefused = hadTimeout && isRefused &&
                              (failure.hasSubcode("TimeoutNotSupported") ||
                               failure.words.find("imeout") != std::string::npos),
          .isOperationMissing = failure.trouble == onvif::Trouble::missing};
}

}  // namespace device::bridge

#endif
