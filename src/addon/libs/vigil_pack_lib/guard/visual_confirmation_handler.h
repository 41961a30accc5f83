#ifndef ADDON_LIBS_VIGIL_PACK_LIB_GUARD_VISUAL_CONFIRMATION_HANDLER_H
#define ADDON_LIBS_VIGIL_PACK_LIB_GUARD_VISUAL_CONFIRMATION_HANDLER_H

#include <cstdint>
#include <string>

#include "app/timer.h"
#include "geometry/svg_doc.h"

// Sends drawings of what a guard sees to whoever set it up: an event with an SVG document for each
// frame, from enable() until disable() or until the time-out has passed. One empty document clears
// the viewer's screen; further empty ones are not sent. Times are monotonic microseconds. Covered
// by the guard's lock.
class VisualConfirmationHandler {
 public:
  // Disabled.
  VisualConfirmationHandler(const std::string& eventName, std::int64_t timeout);
  VisualConfirmationHandler(const VisualConfirmationHandler&) = delete;
  VisualConfirmationHandler& operator=(const VisualConfirmationHandler&) = delete;
  ~VisualConfirmationHandler();

  // Begins (again) the time in which drawings are sent. False, and still disabled, when the event
  // cannot be declared.
  bool enable();

  // Goes on with what was enabled elsewhere at that time. False, and still disabled, when its time
  // is over or the event cannot be declared.
  bool resume(std::int64_t enabledSince);

  // Clears the viewer's screen and removes the event.
  void disable();

  bool isEnabled() const { return enabled; }

  // When it was enabled last.
  std::int64_t getEnabledSince() const { return enabledSince; }

  // Only for other applications of these classes.
  bool isAllowedToSend() const;

  bool isAllowedToSend(std::int64_t time) const;

  // Answer whether something was sent.
  bool sendEvent(const SvgDoc& document, std::int64_t time);

  // Only for other applications of these classes.
  bool sendEvent(const std::string& text, std::int64_t time);

  bool sendEvent(const std::string& text);
  bool sendEmptyEvent();

  // Clears the viewer's screen, unless the last document was empty. The next empty document is sent
  // in any case.
  void clearScreen();

  bool wasLastEventEmpty() const { return emptyEventsSent > 0; }

 private:
  bool enableSince(std::int64_t time);
  bool declareEvent() const;
  bool send(const std::string& text, std::int64_t time) const;
  bool sendOnce(const std::string& text, std::int64_t time);

  std::string eventName;
  bool enabled = false;
  Timer timer;
  std::int64_t enabledSince = 0;
  std::int32_t emptyEventsSent = 0;  // since the last drawing
};

#endif
