#ifndef DEVICE_ONVIF_SERVER_MEDIA_OPERATIONS_H
#define DEVICE_ONVIF_SERVER_MEDIA_OPERATIONS_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "head/head.h"
#include "onvif_server/analytics_operations.h"
#include "onvif_server/camera_profile.h"
#include "onvif_server/operations.h"

namespace device::onvif {

// Where a profile's stream is, for a client that calls the device by this host; empty while there
// is none.
using StreamUri = std::function<std::string(const CameraProfile& profile, const std::string& host)>;

// Both media services: which pictures there are, what belongs to each, and where they are. The
// profiles are fixed.
class MediaOperations {
 public:
  // A profile's picture is at this path and its token.
  static constexpr char SNAPSHOT_ROOT[] = "/onvif/snapshot/";

  // The profiles and the setup outlive the service.
  MediaOperations(const std::vector<CameraProfile>& profiles, const HeadSetup& head,
                  StreamUri streamUri, RulesOf rulesOf);

  void addTo(Operations& operations);

  // Is called when a client asks for a profile's present state in its stream.
  using Synchronizer = std::function<void(const CameraProfile& profile)>;
  void onSynchronize(Synchronizer given) { synchronizer = std::move(given); }

 private:
  void addMedia1(Operations& operations);
  void addMedia2(Operations& operations);

  Tag analyticsTag(const std::string& name, const CameraProfile& profile) const;
  Tag profile1(const std::string& name, const CameraProfile& profile) const;
  Tag profile2(const CameraProfile& profile, const std::vector<std::string>& types) const;
  Tag profiles2(const Request& request) const;
  static std::string snapshotOf(const CameraProfile& profile, const Request& request);
  std::string streamOf(const CameraProfile& profile, const Request& request) const;
  // Of what a profile may have; empty where it has none.
  using TokenOf = std::string (CameraProfile::*)() const;
  using TagOf = std::function<Tag(const CameraProfile& profile)>;
  Tag each(const std::string& response, TokenOf token, const TagOf& tag) const;
  Tag wanted(const std::string& response, const Request& request, TokenOf token,
             const TagOf& tag) const;
  std::vector<CameraProfile> encodersOf(const Request& request, const std::string& nameSpace) const;
  const CameraProfile& withMetadata(const Request& request, const std::string& nameSpace) const;
  void synchronize(const CameraProfile& profile) const;
  const CameraProfile& withConfiguration(const Request& request, const std::string& nameSpace,
                                         TokenOf token) const;

  const std::vector<CameraProfile>& profiles;
  const HeadSetup& head;
  StreamUri streamUri;
  RulesOf rulesOf;
  Synchronizer synchronizer;
};

}  // namespace device::onvif

#endif
