// Where the device's services are on the system bus: for those who offer them and for those who
// call them.
#ifndef BASE_BUS_NAMES_H
#define BASE_BUS_NAMES_H

namespace bus_names {

struct Place {
  const char* name;
  const char* path;
};

inline constexpr Place BUS{"org.freedesktop.DBus", "/org/freedesktop/DBus"};
inline constexpr Place EVENTS{"com.orva.EventService", "/com/orva/EventService"};
inline constexpr Place PARAMETERS{"com.orva.ParameterService", "/com/orva/ParameterService"};
inline constexpr Place PTZ{"com.orva.PTZService", "/com/orva/PTZService"};
inline constexpr Place REMOTE_PTZ{"com.orva.RemoteCameraControl.PTZ",
                                  "/com/orva/RemoteCameraControl/PTZ"};

// Behind the path the number of the channel, from 0.
inline constexpr Place LENSES{"com.orva.M12LensSelectionFov", "/com/orva/M12LensSelectionFov/"};

}  // namespace bus_names

#endif
