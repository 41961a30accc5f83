// The order in which the daemon's locks are taken, outermost first: nobody takes one of a rank
// while holding one of the same or of a later rank. A mutex says where it stands by the ranks
// beside it,
//
//   RecursiveMutex lock ACQUIRED_AFTER(lock_order::CONTAINER) ACQUIRED_BEFORE(lock_order::CAMERA);
//
// which puts it into the rank CAMERA. script/check-style holds against it each function that takes
// several locks, or takes one and REQUIRES another that a function above it takes.
#ifndef APP_LOCK_ORDER_H
#define APP_LOCK_ORDER_H

#include "base/mutex.h"

namespace lock_order {

// Only a name: the end of a rank.
class CAPABILITY("rank") Rank {};

inline const Rank APPLICATION;                               // the main thread's
inline const Rank REQUEST ACQUIRED_AFTER(APPLICATION);       // one request at a time
inline const Rank CONTAINER ACQUIRED_AFTER(REQUEST);         // the set of cameras
inline const Rank CAMERA ACQUIRED_AFTER(CONTAINER);          // one camera, or its transport
inline const Rank GUARD ACQUIRED_AFTER(CAMERA);              // one profile of a camera
inline const Rank TRACKER_INSTANCE ACQUIRED_AFTER(GUARD);    // the tracker's life
inline const Rank TRACKER ACQUIRED_AFTER(TRACKER_INSTANCE);  // what guards report; its event
inline const Rank RETRY ACQUIRED_AFTER(TRACKER);             // an attempt on the main loop
inline const Rank EVENTS ACQUIRED_AFTER(RETRY);              // what producers of events count
inline const Rank DEVICE_FACTS ACQUIRED_AFTER(EVENTS);       // what the device has said of itself
inline const Rank PLATFORM ACQUIRED_AFTER(DEVICE_FACTS);     // the platform wrapper
inline const Rank TIMER ACQUIRED_AFTER(PLATFORM);            // the interval timer

}  // namespace lock_order

#endif
