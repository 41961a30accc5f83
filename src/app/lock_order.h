// The order in which the daemon's locks are taken, outermost first: nobody takes one of a rank
// while holding one of the same or of a later rank. A mutex says where it stands by the ranks
// beside it,
//
//   RecursiveMutex lock ACQUIRED_AFTER(lock_order::CONTAINER) ACQUIRED_BEFORE(lock_order::CAMERA);
//
// which puts it into the rank CAMERA. script/check-locks holds against it each function that takes
// several locks, or takes one and REQUIRES another that a function above it takes.
#ifndef APP_LOCK_ORDER_H
#define APP_LOCK_ORDER_H

#include "base/mutex.h"

namespace lock_order {

// Only a name: the end of a rank.
class CAPABILITY("rank") Rank {};

inline Rank APPLICATION;                               // the main thread's
inline Rank REQUEST ACQUIRED_AFTER(APPLICATION);       // one request at a time
inline Rank CONTAINER ACQUIRED_AFTER(REQUEST);         // the set of cameras
inline Rank CAMERA ACQUIRED_AFTER(CONTAINER);          // one camera, or its transport
inline Rank GUARD ACQUIRED_AFTER(CAMERA);              // one profile of a camera
inline Rank TRACKER_INSTANCE ACQUIRED_AFTER(GUARD);    // the tracker's life
inline Rank TRACKER ACQUIRED_AFTER(TRACKER_INSTANCE);  // what guards report; its state's event
inline Rank RETRY ACQUIRED_AFTER(TRACKER);             // an attempt on the main loop
inline Rank EVENTS ACQUIRED_AFTER(RETRY);              // what producers of events count
inline Rank DEVICE_FACTS ACQUIRED_AFTER(EVENTS);       // what the device has said of itself
inline Rank PLATFORM ACQUIRED_AFTER(DEVICE_FACTS);     // the platform wrapper
inline Rank TIMER ACQUIRED_AFTER(PLATFORM);            // the interval timer

}  // namespace lock_order

#endif
