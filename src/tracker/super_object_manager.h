#ifndef TRACKER_SUPER_OBJECT_MANAGER_H
#define TRACKER_SUPER_OBJECT_MANAGER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tracker/single_object.h"
#include "tracker/super_object.h"
#include "tracker/widest_view.h"

// Keeps every object that the cameras report in the head's angles, groups those that fit together
// into the head's widest view, and answers which group to follow now. Angles are degrees. No lock:
// used under the tracker's mutex.
class SuperObjectManager {
 public:
  // Whether an object of that size fits into the head's widest view.
  bool objectSizeValid(double width, double height) const {
    return widestView.holds(width, height);
  }

  // Holds for what is updated, added and grouped from now on.
  void setMaxObjectSize(const WidestView& view) { widestView = view; }
  const WidestView& getMaxObjectSize() const { return widestView; }

  // How far two pans are apart, the short way round.
  static double getPanDelta(double a, double b);

  // The angle between two directions.
  static double getGreatCircle(double pan1, double tilt1, double pan2, double tilt2);

  // Takes an observation to the object that it is of, or begins a new one. An object that does not
  // fit into the widest view is dropped.
  void updateSingleObject(const SingleObject::Observation& observation);

  // Puts an object into the first group that it fits into, else into a new one at the end.
  void addSingleObject(std::unique_ptr<SingleObject> single);

  void removeSingleObject(std::int32_t channel, std::int32_t id);
  void removeSingleObjects(std::int32_t channel);

  // Works out the boxes and ranks of groups whose members were updated, as all below do themselves.
  void measureChanges();

  // Dissolves groups that have grown too large, then joins groups that fit together.
  void updateSuperObjects();

  // The group to follow with the head looking at pan and tilt; null when there is none. Without
  // switching: the one chosen before while it lives and has the highest priority, else the nearest
  // of the highest priority. With switching: of the highest priority the one that has waited
  // longest, each for timePerObject seconds. Valid until the next call that changes objects.
  const SuperObject* getSuperObject(double pan, double tilt);

  bool getSwitchObject() const { return switchObject; }
  void setSwitchObject(bool on) { switchObject = on; }
  std::int32_t getTimePerObject() const { return timePerObject; }
  void setTimePerObject(std::int32_t seconds) { timePerObject = seconds; }

  // In creation order (sorted by selection while switching), with boxes and ranks as measured last.
  const std::vector<std::unique_ptr<SuperObject>>& getSuperObjects() const { return superObjects; }

 private:
  // The box of a group, beside those of the others.
  struct Extent {
    explicit Extent(const SuperObject& group);

    double left;
    double right;
    double top;
    double bottom;
  };

  struct Member {
    SuperObject* group;
    SingleObject* single;
  };

  static std::uint64_t keyOf(std::int32_t channel, std::int32_t id);
  bool cannotFit(const Extent& a, const Extent& b) const;

  void place(std::unique_ptr<SingleObject> single, SuperObject& group);
  void moveAll(SuperObject& from, SuperObject& to);
  void splitSuperObjects();
  void mergeSuperObjects();
  bool mergeInto(std::size_t index);
  void measureSuperObjects();
  void removeEmptySuperObjects();
  std::int32_t findMaxPriority() const;
  const SuperObject* selectNearest(double pan, double tilt);
  const SuperObject* selectInTurn();

  WidestView widestView;
  std::vector<std::unique_ptr<SuperObject>> superObjects;
  std::unordered_map<std::uint64_t, Member> members;  // by channel and id
  std::vector<Extent> extents;                        // of superObjects, while groups are joined
  const SuperObject* current = nullptr;               // the group chosen last; null once it is gone
  bool switchObject = false;
  std::int32_t timePerObject = 5;  // seconds
};

#endif
