// How the alarm events are named.
#ifndef EVENTS_EVENT_NAMES_H
#define EVENTS_EVENT_NAMES_H

#include <cstdint>
#include <string>

namespace utils {

// Of the topics of this application and of its device.
inline constexpr const char* NAME_SPACE = "tnsorva";

// Of the topics that ONVIF has defined.
inline constexpr const char* ONVIF_NAME_SPACE = "tns1";

// "Camera<camera>Profile<uid>": a profile's event. It is also the event's topic.
std::string generateEventName(std::int32_t camera, std::int32_t uid);

// "Camera<camera>ProfileANY": on while any profile of the camera is in alarm.
std::string generateAnyEventName(std::int32_t camera);

// "CameraANY": on while any camera is in alarm.
std::string generateGlobalAnyEventName();

// A name for people, with the suffix in brackets when there is one.
std::string generateEventNiceName(const std::string& name, const std::string& suffix);

// The name under which the platform wrapper keeps the event.
std::string generateEventLookupKey(const std::string& eventName);

}  // namespace utils

#endif
