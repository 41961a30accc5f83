#ifndef PTZ_FOV_H
#define PTZ_FOV_H

#include <gio/gio.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

// Follows the field of view and the rotation of one video channel (from 0), which its lens
// publishes as properties on the system bus. Changes arrive on the main loop's thread; the values
// may be read from any thread.
//
// What the lens service does not say within a second at construction is taken when it comes: from
// a service that answers late, appears later, or returns together with the bus.
class Fov {
 public:
  explicit Fov(std::uint32_t channel);
  Fov(const Fov&) = delete;
  Fov& operator=(const Fov&) = delete;
  ~Fov();

  double getHorizontalFov() const { return values->horizontalFov; }  // degrees, 0 until known
  double getVerticalFov() const { return values->verticalFov; }      // degrees, 0 until known
  std::int32_t getSensorRotation() const { return values->sensorRotation; }  // 0, 90, 180 or 270

  // Takes one property; one that is not known is ignored, one of a wrong type is logged.
  // Only for other applications of these classes.
  void setProperty(const std::string& name, GVariant* value) { values->set(name, value); }

 private:
  struct Values {
    // The argument is a dictionary "a{sv}".
    void setAll(GVariant* properties);
    void set(const std::string& name, GVariant* value);
    bool hasType(const std::string& name, GVariant* value, const GVariantType* type) const;

    std::uint32_t channel = 0;
    std::atomic<double> horizontalFov{0.0};
    std::atomic<double> verticalFov{0.0};
    std::atomic<std::int32_t> sensorRotation{0};
  };

  class Link;

  // Shared with the handlers on the main loop's thread, which may be running while the Fov is
  // destroyed.
  std::shared_ptr<Values> values = std::make_shared<Values>();
  std::shared_ptr<Link> link;
};

#endif
