#ifndef CGI_TRACKER_CGI_HANDLER_H
#define CGI_TRACKER_CGI_HANDLER_H

#include "cgi/cgi_handler.h"
#include "tracker/tracker.h"

// Adds the requests that concern the tracker.
class TrackerCGI_Handler : public CGI_Handler {
 public:
  // All must outlive the handler.
  TrackerCGI_Handler(CameraContainer& cameraContainer, const API_VersionHandler& versionHandler,
                     const std::string& configurationPath, const DataBoundaries& boundaries,
                     const DefaultValues& defaults, ConfigurationParserI& parser, Tracker& tracker);

  CGI_HandlerResult handleRequestedCgi(const std::string& text, const std::string& method) override;

  // Applies the given settings in order; a value out of range ends it there, with those before it
  // applied.
  CGI_HandlerResult handleSetSentrel(const std::string& text);
  CGI_HandlerResult handleGetSentrel(const std::string& text);

 private:
  void applySettings(json_t* params);

  Tracker& tracker;
};

#endif
