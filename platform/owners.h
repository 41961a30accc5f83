// Owners for what the device's libraries hand out, whichever libraries these are.
#ifndef PLATFORM_OWNERS_H
#define PLATFORM_OWNERS_H

#include <ovevent.h>
#include <ovparameter.h>
#include <ptzmath.h>
#include <scene.h>

#include <memory>

#include "base/glib_ptr.h"

using KeyValueSetPtr = std::unique_ptr<OVEventKeyValueSet, GDeleter<ov_event_key_value_set_free>>;
using EventPtr = std::unique_ptr<OVEvent, GDeleter<ov_event_free>>;
using EventHandlerPtr = std::unique_ptr<OVEventHandler, GDeleter<ov_event_handler_free>>;
using ParameterPtr = std::unique_ptr<OVParameter, GDeleter<ov_parameter_free>>;
using PtzmathPtr = std::unique_ptr<ptzmath_context, GDeleter<ptzmath_context_delete>>;
using ScenePtr = std::unique_ptr<scene, GDeleter<scene_delete>>;

#endif
