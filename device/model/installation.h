#ifndef DEVICE_MODEL_INSTALLATION_H
#define DEVICE_MODEL_INSTALLATION_H

#include <cstdint>
#include <string>

#include "model/model.h"

namespace device {

// Fills in what whoever put the mast up has told the application: which way of following is wanted
// ("predictive", or any other), and what was measured of the mast, with the model's errors of
// measuring.
//
//   root.SentrelVideo.Following, .MastHeight, and .Identify, which is there to be changed
//   root.SentrelVideo.Overview.C<n>.OffsetX, .OffsetY  (n from 1)
//
// A parameter that the model's file names stands. The seed is that of the world.
void tellInstallation(Model& model, const std::string& following, std::uint64_t seed);

}  // namespace device

#endif
