#include "onvif_client/camera_calls.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include "base/units.h"
#include "onvif/envelope.h"
#include "onvif/namespaces.h"
#include "onvif/time_text.h"
#include "onvif/user_token.h"

namespace device::onvif {
namespace {

constexpr std::size_t NONCE_LENGTH = 16;  // bytes
constexpr gsize PART = 65536;             // of an answer that is read at once
constexpr guint CONNECTIONS = 4;          // to one camera
constexpr std::int64_t SAME_TIME = units::fromSeconds(2);
constexpr unsigned UNAUTHORIZED = 401;

using UriPtr = std::unique_ptr<GUri, GDeleter<g_uri_unref>>;

UriPtr parsed(const std::string& address) {
  return UriPtr(g_uri_parse(address.c_str(), G_URI_FLAGS_ENCODED, nullptr));
}

std::string newNonce() {
  std::string nonce(NONCE_LENGTH, '\0');
  // So few bytes come at once, and always.
  if (getrandom(nonce.data(), nonce.size(), 0) != static_cast<ssize_t>(nonce.size())) {
    throw std::runtime_error("There is no chance on this machine");
  }
  return nonce;
}

std::optional<std::int64_t> dateOf(SoupMessage* message) {
  const char* text =
      soup_message_headers_get_one(soup_message_get_response_headers(message), "Date");
  const GDateTimePtr date(text != nullptr ? soup_date_time_new_from_http_string(text) : nullptr);
  return date ? std::optional(units::fromSeconds(g_date_time_to_unix(date.get()))) : std::nullopt;
}

bool asksForDigest(SoupMessage* message) {
  const char* challenge =
      soup_message_headers_get_list(soup_message_get_response_headers(message), "WWW-Authenticate");
  return challenge != nullptr && std::string(challenge).find("Digest") != std::string::npos;
}

}  // namespace

std::string reachedAt(const std::string& told, const std::string& reached) {
  const UriPtr camera = parsed(told);
  const UriPtr here = parsed(reached);
  if (!camera || !here || g_uri_get_host(here.get()) == nullptr) {
    return told;
  }
  // Another protocol has a port of its own.
  const char* scheme = g_uri_get_scheme(camera.get());
  const bool isSame = std::string(scheme) == g_uri_get_scheme(here.get());
  const GTextPtr joined(g_uri_join(G_URI_FLAGS_ENCODED, scheme, nullptr, g_uri_get_host(here.get()),
                                   g_uri_get_port(isSame ? here.get() : camera.get()),
                                   g_uri_get_path(camera.get()), g_uri_get_query(camera.get()),
                                   nullptr));
  return joined.get();
}

struct CameraCalls::Call {
  Call(CameraCalls* owner, std::string address, Tag operation, Done done, unsigned timeOut,
       bool isOpen)
      : owner(owner),
        address(std::move(address)),
        operation(std::move(operation)),
        done(std::move(done)),
        timeOut(timeOut),
        isOpen(isOpen) {}
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;
  ~Call() { leave(); }

  CameraCalls* owner;
  std::string address;
  Tag operation;
  Done done;
  unsigned timeOut;
  bool isOpen;  // to everybody: needs no user
  Step step = Step::token;
  bool isWaiting = false;  // for the camera's time
  bool isTimedOut = false;
  GBytesPtr text{};  // that is sent
  std::string body;  // of the answer
  GObjectPtr<SoupMessage> message{};
  GObjectPtr<GCancellable> cancellable{};
  GSourcePtr timer{};

  // What is on its way is given up.
  void leave() {
    timer.reset();
    if (cancellable) {
      g_cancellable_cancel(cancellable.get());
    }
    if (message) {
      g_signal_handlers_disconnect_by_data(message.get(), this);
    }
    message.reset();
    cancellable.reset();
  }
};

CameraCalls::CameraCalls(const std::string& device, Login login)
    : device(device),
      login(std::move(login)),
      // No proxy stands between here and a camera.
      session(soup_session_new_with_options("max-conns-per-host", CONNECTIONS, "idle-timeout", 30U,
                                            "proxy-resolver", nullptr, nullptr)) {
  // What stands in an address is shown, kept and logged.
  const UriPtr uri = parsed(device);
  if (device.find('@') != std::string::npos) {
    throw std::runtime_error("An address has no user and no password: they are entered beside it");
  }
  if (!uri || std::string(g_uri_get_scheme(uri.get())) != "http" ||
      g_uri_get_host(uri.get()) == nullptr) {
    throw std::runtime_error("This is no address of a camera: " + device);
  }
}

CameraCalls::~CameraCalls() {
  for (const CallPtr& call : calls) {
    call->leave();
  }
}

void CameraCalls::call(const std::string& address, Tag operation, Done done, unsigned timeOut) {
  begin(reachedAt(address, device), std::move(operation), std::move(done), timeOut, false);
}

void CameraCalls::begin(std::string address, Tag operation, Done done, unsigned timeOut,
                        bool isOpen) {
  const auto call = std::make_shared<Call>(this, std::move(address), std::move(operation),
                                           std::move(done), timeOut, isOpen);
  calls.push_back(call);
  start(call);
}

void CameraCalls::start(const CallPtr& call) {
  const bool needsTime = !call->isOpen && !login.user.empty() && call->step != Step::digest &&
                         !isByDigest && !clock.isKnown(g_get_monotonic_time());
  if (needsTime) {
    call->isWaiting = true;
    askTime();
    return;
  }
  send(call);
}

void CameraCalls::send(const CallPtr& call) {
  call->leave();
  call->isWaiting = false;
  call->isTimedOut = false;
  call->body.clear();
  std::vector<Tag> headers;
  if (isByDigest) {
    call->step = Step::digest;
  }
  if (!call->isOpen && !login.user.empty() && call->step != Step::digest) {
    headers.push_back(userTokenTag(login.user, login.password, newNonce(),
                                   dateTimeText(clock.at(g_get_real_time()))));
  }
  const std::string text = writeEnvelope(call->operation, std::move(headers));
  call->message.reset(soup_message_new("POST", call->address.c_str()));
  if (!call->message) {
    return finish(call, SoapReply(Failure{
                            Trouble::malformed, "The camera tells an address that is none", {}}));
  }
  call->cancellable.reset(g_cancellable_new());
  call->text.reset(g_bytes_new(text.data(), text.size()));
  setBody(call->message.get(), call.get());
  soup_message_add_flags(call->message.get(), SOUP_MESSAGE_NO_REDIRECT);
  // A message that is sent again, to log in, has lost its body.
  g_signal_connect(call->message.get(), "restarted", G_CALLBACK(setBody), call.get());
  g_signal_connect(call->message.get(), "authenticate", G_CALLBACK(authenticate), call.get());
  call->timer.reset(g_timeout_source_new(call->timeOut));
  g_source_set_callback(call->timer.get(), isOver, call.get(), nullptr);
  g_source_attach(call->timer.get(), g_main_context_get_thread_default());
  soup_session_send_async(session.get(), call->message.get(), G_PRIORITY_DEFAULT,
                          call->cancellable.get(), opened, new std::weak_ptr<Call>(call));
}

void CameraCalls::setBody(SoupMessage* message, gpointer data) {
  soup_message_set_request_body_from_bytes(message, SOAP_TYPE,
                                           static_cast<Call*>(data)->text.get());
}

gboolean CameraCalls::isOver(gpointer data) {
  auto* call = static_cast<Call*>(data);
  call->isTimedOut = true;
  g_cancellable_cancel(call->cancellable.get());
  return G_SOURCE_REMOVE;
}

// A password is sent as a digest or not at all.
gboolean CameraCalls::authenticate(SoupMessage*, SoupAuth* auth, gboolean retrying, gpointer data) {
  const auto* call = static_cast<Call*>(data);
  const Login& login = call->owner->login;
  const bool isDigest = std::string(soup_auth_get_scheme_name(auth)) == "Digest";
  if (retrying != FALSE || !isDigest || call->step != Step::digest || login.user.empty()) {
    return FALSE;
  }
  soup_auth_authenticate(auth, login.user.c_str(), login.password.c_str());
  return TRUE;
}

void CameraCalls::opened(GObject* session, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<std::weak_ptr<Call>> waiting(static_cast<std::weak_ptr<Call>*>(data));
  ErrorSlot error;
  const GObjectPtr<GInputStream> stream(
      soup_session_send_finish(SOUP_SESSION(session), result, error.out()));
  const CallPtr call = waiting->lock();
  if (!call || !call->message) {
    return;
  }
  if (stream) {
    return read(call, stream.get());
  }
  Failure failure{Trouble::unreachable, "The camera cannot be reached: " + error.message(), {}};
  if (call->isTimedOut) {
    failure = {Trouble::timeOut,
               "The camera does not answer within " + std::to_string(call->timeOut / 1000) + " s",
               {}};
  }
  call->owner->came(call, {.status = {}, .body = {}, .failure = failure, .date = {}});
}

void CameraCalls::read(const CallPtr& call, GInputStream* stream) {
  g_input_stream_read_bytes_async(stream, PART, G_PRIORITY_DEFAULT, call->cancellable.get(),
                                  wasRead, new std::weak_ptr<Call>(call));
}

void CameraCalls::wasRead(GObject* source, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<std::weak_ptr<Call>> waiting(static_cast<std::weak_ptr<Call>*>(data));
  auto* stream = G_INPUT_STREAM(source);
  ErrorSlot error;
  const GBytesPtr part(g_input_stream_read_bytes_finish(stream, result, error.out()));
  const CallPtr call = waiting->lock();
  if (!call || !call->message) {
    return;
  }
  if (!part) {
    const Failure failure =
        call->isTimedOut
            ? Failure{Trouble::timeOut, "The camera's answer does not come to its end", {}}
            : Failure{Trouble::unreachable, "The camera's answer broke off", {}};
    return call->owner->came(call, {.status = {}, .body = {}, .failure = failure, .date = {}});
  }
  gsize length = 0;
  const auto* bytes = static_cast<const char*>(g_bytes_get_data(part.get(), &length));
  if (call->body.size() + length > MOST_ANSWER) {
    return call->owner->came(
        call, {.status = {},
               .body = {},
               .failure = {Trouble::malformed, "The camera's answer is too long", {}},
               .date = {}});
  }
  if (length > 0) {
    call->body.append(bytes, length);
    return read(call, stream);
  }
  call->owner->came(call, {.status = soup_message_get_status(call->message.get()),
                           .body = std::move(call->body),
                           .failure = {},
                           .date = dateOf(call->message.get())});
}

void CameraCalls::came(const CallPtr& call, const Exchange& exchange) {
  const SoapReply reply =
      exchange.status ? readReply(*exchange.status, exchange.body) : SoapReply(exchange.failure);
  const bool isRefused = !reply.ok() && reply.failure().trouble == Trouble::password;
  if (isRefused && !call->isOpen && tryNext(*call, exchange)) {
    return start(call);
  }
  finish(call, reply);
}

// False when there is no other way left to be let in.
bool CameraCalls::tryNext(Call& call, const Exchange& exchange) {
  if (login.user.empty() || call.step == Step::digest) {
    return false;
  }
  if (exchange.status == UNAUTHORIZED && asksForDigest(call.message.get())) {
    call.step = Step::digest;
    isByDigest = true;
    return true;
  }
  if (call.step == Step::token) {
    call.step = Step::freshToken;  // clocks jump when a camera starts anew
    clock.forget();
    return true;
  }
  const std::int64_t now = g_get_real_time();
  const bool isOtherDate = exchange.date && std::abs(*exchange.date - clock.at(now)) > SAME_TIME;
  if (call.step == Step::freshToken && isOtherDate) {
    call.step = Step::tokenByDate;  // some tell their local time as UTC
    clock.told(*exchange.date, now, g_get_monotonic_time());
    return true;
  }
  call.step = Step::digest;
  return true;
}

void CameraCalls::finish(CallPtr call, const SoapReply& reply) {
  call->leave();
  calls.remove(call);
  const Done done = std::move(call->done);
  done(reply);
}

void CameraCalls::askTime() {
  if (std::exchange(isTimeAsked, true)) {
    return;
  }
  begin(
      device, Tag("tds:GetSystemDateAndTime"), [this](const SoapReply& reply) { timeCame(reply); },
      TIME_OUT, true);
}

// Without the camera's time ours may do; without the camera nothing does.
void CameraCalls::timeCame(const SoapReply& reply) {
  isTimeAsked = false;
  const bool isAway = !reply.ok() && (reply.failure().trouble == Trouble::unreachable ||
                                      reply.failure().trouble == Trouble::timeOut);
  const auto time = reply.ok() ? readCameraTime(reply.body()) : std::nullopt;
  const std::int64_t now = g_get_real_time();
  if (!isAway) {
    clock.told(time.value_or(now), now, g_get_monotonic_time());
  }
  const std::list<CallPtr> all = calls;
  for (const CallPtr& call : all) {
    if (!call->isWaiting) {
      continue;
    }
    if (isAway) {
      finish(call, reply);
    } else {
      send(call);
    }
  }
}

}  // namespace device::onvif
