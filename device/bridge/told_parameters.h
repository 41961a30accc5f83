#ifndef DEVICE_BRIDGE_TOLD_PARAMETERS_H
#define DEVICE_BRIDGE_TOLD_PARAMETERS_H

#include <map>
#include <string>
#include <vector>

#include "bridge/bridge_settings.h"
#include "services/lens_service.h"

namespace device::bridge {

// What the page changes when the head is to be identified anew.
constexpr char IDENTIFY[] = "SentrelVideo.Identify";

// What the application asks a device for, by full name, as the settings have it. Parameters that
// the settings name themselves count before these.
std::map<std::string, std::string> parametersOf(const BridgeSettings& settings, bool usesModule);

// The lenses of the overview cameras. Their pictures are upright, and so is what they tell.
std::vector<Lens> lensesOf(const BridgeSettings& settings);

// Whether both have the same lenses.
bool areLensesAlike(const BridgeSettings& one, const BridgeSettings& other);

// Whether the application is told the same by both, of what it reads at its start. The way of
// following is no part of that as long as no camera stands beside the head: who does is told
// otherwise in each way.
bool isToldAlike(const BridgeSettings& one, const BridgeSettings& other);

// The page's "model" message.
std::string modelJsonOf(const BridgeSettings& settings, const std::string& product);

}  // namespace device::bridge

#endif
