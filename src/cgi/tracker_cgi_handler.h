#ifndef CGI_TRACKER_CGI_HANDLER_H
#define CGI_TRACKER_CGI_HANDLER_H

#include "cgi/cgi_handler.h"
#include "tracker/tracker.h"

// Adds the methods that concern the tracker.
class TrackerCGI_Handler : public CGI_Handler {
 public:
  // All must outlive the handler.
  TrackerCGI_Handler(CameraContainer& cameraContainer, const API_VersionHandler& versionHandler,
                     const std::string& configurationPath, const DataBoundaries& boundaries,
                     const DefaultValues& defaults, ConfigurationParserI& parser, Tracker& tracker);

  // One method each, for a text.
  CGI_HandlerResult handleSetSentrel(const std::string& text);
  CGI_HandlerResult handleGetSentrel(const std::string& text);
  CGI_HandlerResult handleGetFollowing(const std::string& text);

 private:
  // Applies the given settings in order; a value out of range ends it there, with those before it
  // applied.
  JsonAutoPtr setSentrel(const CGI_Request& request);

  JsonAutoPtr getSentrel() const;

  // Offered while the predictive way of following is at work.
  JsonAutoPtr getFollowing() const;

  Tracker& tracker;
};

#endif
