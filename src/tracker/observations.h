#ifndef TRACKER_OBSERVATIONS_H
#define TRACKER_OBSERVATIONS_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "app/lock_order.h"
#include "base/mutex.h"
#include "ptz/video_channels.h"
#include "scene/parsed_scene.h"
#include "scene/tracking_object.h"
#include "tracker/people.h"
#include "tracker/selection.h"
#include "tracker/super_object_manager.h"
#include "tracker/widest_view.h"

// What guards report: the objects that they have handed over, in the head's angles and grouped, and
// the cameras that they are seen by; and who everybody in their pictures is, where the way of
// following wants to know. Guards call on scene threads, the API on its own, the
// tracker's thread asks for the group to follow: one recursive mutex covers it all. Cameras count
// from 1.
class Observations : public Selection {
 public:
  class Center;

  // Adds a user of a camera. False when its geometry is not known (yet). Asks the device, without
  // the mutex.
  bool addCamera(int camera);

  // Drops a user; the last one takes the camera's objects along.
  void removeCamera(int camera);

  // Takes everybody in a frame, before objects of it are handed over. Any guard of the camera may
  // do so; the first one counts. Nothing while nobody wants to know who is who.
  void see(int camera, const ParsedScene& scene);

  // Since which picture the person whom an object shows has been seen, under whatever numbers;
  // nothing while nobody wants to know who is who.
  std::optional<std::int64_t> knownSince(int camera, int objectId) const;

  // Takes an observation of an object. Ignored for a camera that was not added; an object that does
  // not fit into the widest view is dropped. priority ranks objects: the higher the more important.
  void track(int camera, int priority, const TrackingObject& object);

  // Forgets an object.
  void untrack(int camera, int objectId);

  // Several guards may watch an object: it is forgotten when the last one that holds it lets go.
  void hold(int camera, int objectId, const void* holder);
  void letGo(int camera, int objectId, const void* holder);

  void setWidestView(const WidestView& view);

  // Groups what is there before it chooses.
  std::optional<Target> selectTarget(double pan, double tilt) override;

  // From now on tells who is who, beginning with nobody; or does not any more.
  void watchPeople(const Installation& installation);
  void ignorePeople();
  bool isWatchingPeople() const { return arePeopleWatched; }

  // Nobody while people are ignored.
  std::optional<FollowedSubject> selectSubject(double pan, double tilt, std::int64_t now,
                                               std::int64_t at) override;

  // Everybody as he will be at a time; nothing while people are ignored.
  std::optional<std::vector<PersonInsight>> peopleInsight(std::int64_t now, std::int64_t at) const;

  bool getSwitchObject() const;
  int getTimePerObject() const;  // seconds

  // Whether the value has changed.
  bool setSwitchObject(bool on);
  bool setTimePerObject(int seconds);

  // Forgets everything, the settings included.
  void clear();

 private:
  void untrackObject(int camera, int objectId) REQUIRES(mutex);
  bool insertCenter(int camera) REQUIRES(mutex);

  mutable RecursiveMutex mutex ACQUIRED_AFTER(lock_order::TRACKER_INSTANCE)
      ACQUIRED_BEFORE(lock_order::TRACKER);
  SuperObjectManager superObjectManager GUARDED_BY(mutex);
  VideoChannels videoChannels GUARDED_BY(mutex);
  std::unique_ptr<People> people GUARDED_BY(mutex);        // null while they are ignored
  std::vector<People::Seen> seenPeople GUARDED_BY(mutex);  // of the frame at hand
  std::atomic<bool> arePeopleWatched{false};               // for frames that nobody asks about

  // By camera and object.
  std::map<std::pair<int, int>, std::set<const void*>> holders GUARDED_BY(mutex);
};

// An object in the middle of a camera's picture, for as long as this lives; whoever else asks for
// or hands over anything waits. None for a camera that was not added. The observations must outlive
// it.
class SCOPED_CAPABILITY Observations::Center {
 public:
  Center(Observations& observations, int camera) ACQUIRES(observations.mutex);
  Center(const Center&) = delete;
  Center& operator=(const Center&) = delete;
  ~Center() RELEASES();

  bool isThere() const { return there; }

 private:
  Observations& observations;
  const int camera;
  bool there = false;
};

#endif
