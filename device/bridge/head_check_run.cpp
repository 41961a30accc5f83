#include "bridge/head_check_run.h"

#include <glib.h>

#include <utility>

#include "bridge/head_outcome.h"
#include "onvif/namespaces.h"

namespace device::bridge {

namespace {

using onvif::SoapReply;
using onvif::Tag;
namespace ns = onvif::ns;

constexpr int MOST_SILENCES = 3;
constexpr std::int64_t LAST_WORD = 2000000;  // microseconds

}  // namespace

HeadCheckRun::HeadCheckRun(const std::string& device, const onvif::Login& login,
                           const CameraAbilities& abilities, const onvif::MediaProfile& profile,
                           HeadCheck::Wishes wishes, std::function<void()> over)
    : device(device),
      login(login),
      abilities(abilities),
      service(abilities.services.at(ns::PTZ)),
      profile(profile.token),
      check(profile.token, abilities.head, std::move(wishes)),
      over(std::move(over)),
      calls(device, login),
      timer(TICK, [this] { step(); }) {}

void HeadCheckRun::stopForGood() {
  const std::int64_t until = g_get_monotonic_time() + LAST_WORD;
  check.giveUp("The bridge ends");
  while (!check.isOver() && g_get_monotonic_time() < until) {
    g_main_context_iteration(g_main_context_get_thread_default(), TRUE);  // the timer's at least
  }
}

void HeadCheckRun::step() {
  if (check.isOver()) {
    if (!std::exchange(isTold, true)) {
      over();
    }
    return;
  }
  const std::int64_t now = g_get_monotonic_time();
  if (auto call = check.next(now)) {
    calls.call(service, std::move(call->operation),
               [this, hadTimeout = call->hasTimeout](const SoapReply& reply) {
                 check.answered(outcomeOf(reply, hadTimeout),
                                reply.ok() ? "" : reply.failure().words, g_get_monotonic_time());
               });
  }
  askPicture();
  askStatus(now);
}

void HeadCheckRun::askPicture() {
  if (!check.isPictureDue() || isPictureAsked) {
    return;
  }
  isPictureAsked = true;
  const auto came = [this](const std::string& jpeg, const std::string& words) {
    isPictureAsked = false;
    check.pictured(jpeg, words);
  };
  snapshot = std::make_unique<Snapshot>(
      device, login, abilities, profile,
      Snapshot::Callbacks{[came](const std::string& jpeg) { came(jpeg, ""); },
                          [came](const std::string& words) { came("", words); }});
}

void HeadCheckRun::askStatus(std::int64_t now) {
  if (isStatusAsked || now < statusDue) {
    return;
  }
  isStatusAsked = true;
  statusDue = now + STATUS_PERIOD;
  calls.call(service, Tag("tptz:GetStatus", Tag("tptz:ProfileToken", profile)),
             [this, now](const SoapReply& reply) { statusCame(reply, now); });
}

void HeadCheckRun::statusCame(const SoapReply& reply, std::int64_t asked) {
  isStatusAsked = false;
  const auto status =
      reply.ok() ? reply.body().child(ns::PTZ, "PTZStatus") : std::optional<onvif::XmlElement>();
  if (status) {
    silences = 0;
    check.told(onvif::readHeadReading(*status), asked, g_get_monotonic_time());
  } else if (++silences == MOST_SILENCES) {
    check.giveUp("The head does not say where it is. " +
                 (reply.ok() ? std::string("Its answer is empty") : reply.failure().words));
  }
}

}  // namespace device::bridge
