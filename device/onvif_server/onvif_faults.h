#ifndef DEVICE_ONVIF_SERVER_ONVIF_FAULTS_H
#define DEVICE_ONVIF_SERVER_ONVIF_FAULTS_H

#include <set>
#include <string>
#include <vector>

namespace device::onvif {

// What the camera does wrong on purpose, for trying software against imperfect cameras: names such
// as "camera:digest-only", "head:no-stop" and "overview2:gzip", which docs/onvif.md lists.
class OnvifFaults {
 public:
  // cameras: how many overview cameras there are. Without any fault.
  explicit OnvifFaults(int cameras) : cameras(cameras) {}

  // In the place of those before. Throws std::runtime_error for a name that there is not, and
  // changes nothing then.
  void set(const std::vector<std::string>& names);

  // Separated by commas; none of an empty text.
  static std::vector<std::string> namesIn(const std::string& list);

  bool ofCamera(const std::string& fault) const { return all.contains("camera:" + fault); }
  bool ofHead(const std::string& fault) const { return all.contains("head:" + fault); }
  // number: from 1.
  bool ofOverview(int number, const std::string& fault) const {
    return all.contains("overview" + std::to_string(number) + ':' + fault);
  }

  const std::set<std::string>& get() const { return all; }

 private:
  bool isKnown(const std::string& name) const;

  int cameras;
  std::set<std::string> all;
};

}  // namespace device::onvif

#endif
