#include "onvif_server/event_operations.h"

#include <glib.h>

#include <algorithm>
#include <set>

#include "base/text.h"
#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "onvif/time_text.h"

namespace device::onvif {
namespace {

constexpr std::string_view POINT_PATH = "/onvif/event_service/";
constexpr char EVENT_ACTIONS[] = "http://www.onvif.org/ver10/events/wsdl/";
constexpr char SUBSCRIPTION_ACTIONS[] = "http://docs.oasis-open.org/wsn/bw-2/SubscriptionManager/";

Fault noSuchPoint() {
  return {FaultCode::sender, {"ter:InvalidArgVal", "ter:NoEntity"}, "There is no such pull point"};
}

}  // namespace

EventOperations::EventOperations(EventService& events, PullPoints::Clock clock)
    : events(events),
      points(std::move(clock), [this] { return present(); }),
      timer(PERIOD, [this] { points.update(); }) {
  // Observers stay for good, longer than this.
  const auto whileHere = [this](void (EventOperations::*tell)(const Event& event)) {
    return [here = std::weak_ptr<EventOperations*>(self), tell](const Event& event) {
      if (const auto there = here.lock()) {
        ((**there).*tell)(event);
      }
    };
  };
  events.observe(whileHere(&EventOperations::changed));
  events.observeDeclared(whileHere(&EventOperations::declared));
  events.observeUndeclared(whileHere(&EventOperations::undeclared));
}

void EventOperations::addTo(Operations& operations) {
  operations.add(ns::EVENTS, "GetServiceCapabilities", Access::anybody,
                 [this](const Request&) { return capabilities(); });
  operations.add(ns::EVENTS, "GetEventProperties", Access::user,
                 [this](const Request&) { return properties(); });
  operations.add(ns::EVENTS, "CreatePullPointSubscription", Access::user,
                 [this](const Request& request) { return create(request); });
  operations.addWaiting(
      ns::EVENTS, "PullMessages", Access::user,
      [this](const Request& request, const Operations::Answer& answer) { pull(request, answer); });
  operations.add(ns::EVENTS, "SetSynchronizationPoint", Access::user,
                 [this](const Request& request) { return synchronize(request); });
  operations.add(ns::NOTIFICATION, "Renew", Access::user,
                 [this](const Request& request) { return renew(request); });
  operations.add(ns::NOTIFICATION, "Unsubscribe", Access::user,
                 [this](const Request& request) { return unsubscribe(request); });
  const auto act = [&](const char* nameSpace, const char* name, const std::string& action) {
    operations.setAction(nameSpace, name, action + name + "Response");
  };
  const std::string eventActions = EVENT_ACTIONS;
  act(ns::EVENTS, "GetServiceCapabilities", eventActions + "EventPortType/");
  act(ns::EVENTS, "GetEventProperties", eventActions + "EventPortType/");
  act(ns::EVENTS, "CreatePullPointSubscription", eventActions + "EventPortType/");
  act(ns::EVENTS, "PullMessages", eventActions + "PullPointSubscription/");
  act(ns::EVENTS, "SetSynchronizationPoint", eventActions + "PullPointSubscription/");
  act(ns::NOTIFICATION, "Renew", SUBSCRIPTION_ACTIONS);
  act(ns::NOTIFICATION, "Unsubscribe", SUBSCRIPTION_ACTIONS);
}

void EventOperations::changed(const Event& event) {
  publish(notificationsOf(event, PropertyOperation::changed, presetName));
}

void EventOperations::declared(const Event& event) {
  if (!event.stateless && !EventService::isOfDevice(event)) {
    publish(notificationsOf(event, PropertyOperation::initialized));
  }
}

void EventOperations::publish(const std::vector<Notification>& notifications) {
  points.publish(notifications);
  if (observer && !notifications.empty()) {
    observer(notifications);
  }
}

// A profile that is renamed is declared anew before its former declaration goes: the property
// lives on.
void EventOperations::undeclared(const Event& event) {
  if (event.stateless) {
    return;
  }
  const std::vector<Notification> left = present();
  std::vector<Notification> gone = notificationsOf(event, PropertyOperation::deleted);
  std::erase_if(gone, [&](const Notification& each) {
    return std::ranges::any_of(
        left, [&](const Notification& other) { return isSameProperty(each, other); });
  });
  publish(gone);
}

std::vector<Notification> EventOperations::present() const {
  std::vector<Notification> all;
  for (const auto& [id, event] : events.getTable().getEvents()) {
    if (!event.stateless) {
      std::ranges::move(notificationsOf(event, PropertyOperation::initialized),
                        std::back_inserter(all));
    }
  }
  return all;
}

std::vector<std::string> EventOperations::rulesOf(const std::string& analytics) const {
  std::set<std::string> rules;
  for (const Notification& notification : present()) {
    if (auto rule = ruleOf(notification, analytics)) {
      rules.insert(std::move(*rule));
    }
  }
  return {rules.begin(), rules.end()};
}

// A length of time, or the moment of its end.
std::int64_t EventOperations::lifetimeOf(const Request& request, const std::string& nameSpace,
                                         const std::string& name) {
  const std::string text = optionalText(request, nameSpace, name);
  if (text.empty()) {
    return USUAL_LIFETIME;
  }
  auto lifetime = readDuration(text);
  if (!lifetime) {
    if (const auto end = readDateTime(text)) {
      lifetime = *end - g_get_real_time();
    }
  }
  if (!lifetime || *lifetime <= 0) {
    throw invalidArgument("ter:InvalidTerminationTime", name + " is no time to come");
  }
  return std::min(*lifetime, MOST_LIFETIME);
}

int EventOperations::pointOf(const Request& request) {
  std::string_view path = request.path;
  if (!path.starts_with(POINT_PATH)) {
    throw noSuchPoint();
  }
  path.remove_prefix(POINT_PATH.size());
  const auto point = text::toNumber<int>(path);
  if (!point) {
    throw noSuchPoint();
  }
  return *point;
}

std::vector<Tag> EventOperations::times(int point, const std::string& prefix) const {
  const std::int64_t now = g_get_real_time();
  const std::int64_t left = points.lifetimeOf(point).value_or(0);
  return {Tag(prefix + ":CurrentTime", dateTimeText(now)),
          Tag(prefix + ":TerminationTime", dateTimeText(now + left))};
}

Tag EventOperations::capabilities() const {
  return Tag("tev:GetServiceCapabilitiesResponse",
             Tag("tev:Capabilities", Attribute("WSSubscriptionPolicySupport", false),
                 Attribute("WSPausableSubscriptionManagerInterfaceSupport", false),
                 Attribute("MaxPullPoints", static_cast<int>(PullPointLimits().points)),
                 Attribute("PersistentNotificationStorage", false)));
}

Tag EventOperations::properties() const {
  std::set<std::string> profiles;
  for (const Notification& notification : present()) {
    if (auto name = profileNameOf(notification)) {
      profiles.insert(std::move(*name));
    }
  }
  return Tag(
      "tev:GetEventPropertiesResponse",
      Tag("tev:TopicNamespaceLocation", "http://www.onvif.org/onvif/ver10/topics/topicns.xml"),
      Tag("wsnt:FixedTopicSet", false), topicSetTag(profiles),
      Tag("wsnt:TopicExpressionDialect", TopicFilter::CONCRETE_SET),
      Tag("wsnt:TopicExpressionDialect", TopicFilter::CONCRETE),
      Tag("tev:MessageContentFilterDialect"),
      Tag("tev:MessageContentSchemaLocation", "http://www.onvif.org/onvif/ver10/schema/onvif.xsd"));
}

Tag EventOperations::create(const Request& request) {
  const auto element = request.body.child(ns::EVENTS, "Filter");
  TopicFilter filter = element ? TopicFilter(*element) : TopicFilter();
  const std::int64_t lifetime = lifetimeOf(request, ns::EVENTS, "InitialTerminationTime");
  const auto point = points.create(std::move(filter), lifetime);
  if (!point) {
    throw Fault(FaultCode::receiver, {"ter:Action"},
                "There are as many pull points as there may be");
  }
  const std::string address =
      "http://" + request.host + std::string(POINT_PATH) + std::to_string(*point);
  return Tag("tev:CreatePullPointSubscriptionResponse",
             Tag("tev:SubscriptionReference", Tag("wsa:Address", address)), times(*point, "wsnt"));
}

void EventOperations::pull(const Request& request, const Operations::Answer& answer) {
  const int point = pointOf(request);
  const auto patience = readDuration(requiredText(request, ns::EVENTS, "Timeout"));
  const auto most = text::toNumber<int>(requiredText(request, ns::EVENTS, "MessageLimit"));
  if (!patience || !most || *most < 1) {
    throw invalidArguments("Timeout is no time, or MessageLimit no number above 0");
  }
  const auto take = [this, point, send = answer.send](
                        const std::vector<Notification>& notifications, PullPoints::Sent sent) {
    Tag response("tev:PullMessagesResponse", times(point, "tev"));
    for (const Notification& each : notifications) {
      response.add(notificationTag(each));
    }
    send(std::move(response), std::move(sent));
  };
  const auto pulled =
      points.pull(point, std::min(static_cast<std::size_t>(*most), MOST_AT_ONCE),
                  std::clamp<std::int64_t>(*patience, 0, MOST_PATIENCE), {take, answer.isAwaited});
  if (pulled == PullPoints::Pulled::noPoint) {
    throw noSuchPoint();
  }
  if (pulled == PullPoints::Pulled::anotherWaits) {
    throw Fault(FaultCode::receiver, {"ter:Action"}, "Another pull waits at this point");
  }
}

Tag EventOperations::renew(const Request& request) {
  const int point = pointOf(request);
  if (!points.renew(point, lifetimeOf(request, ns::NOTIFICATION, "TerminationTime"))) {
    throw noSuchPoint();
  }
  std::vector<Tag> both = times(point, "wsnt");
  std::ranges::reverse(both);  // here the end comes first
  return Tag("wsnt:RenewResponse", std::move(both));
}

Tag EventOperations::unsubscribe(const Request& request) {
  if (!points.remove(pointOf(request))) {
    throw noSuchPoint();
  }
  return Tag("wsnt:UnsubscribeResponse");
}

Tag EventOperations::synchronize(const Request& request) {
  if (!points.synchronize(pointOf(request))) {
    throw noSuchPoint();
  }
  return Tag("tev:SetSynchronizationPointResponse");
}

}  // namespace device::onvif
