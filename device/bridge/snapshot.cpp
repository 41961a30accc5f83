#include "bridge/snapshot.h"

#include <utility>

#include "onvif/namespaces.h"

namespace device::bridge {

namespace {

using onvif::SoapReply;
using onvif::Tag;
using onvif::XmlElement;
namespace ns = onvif::ns;

constexpr char NONE[] = "The camera gives no picture of this profile";

constexpr gsize PART = 65536;  // of a picture that is read at once

bool isJpeg(const std::string& bytes) {
  return bytes.starts_with("\xff\xd8");
}

}  // namespace

Snapshot::Snapshot(const std::string& device, onvif::Login login, const CameraAbilities& abilities,
                   const std::string& profile, Callbacks callbacks)
    : login(login),
      callbacks(std::move(callbacks)),
      session(
          soup_session_new_with_options("timeout", TIME_OUT, "proxy-resolver", nullptr, nullptr)),
      cancellable(g_cancellable_new()),
      calls(device, std::move(login)) {
  const bool isMedia2 = abilities.hasMedia2();
  calls.call(abilities.services.at(isMedia2 ? ns::MEDIA2 : ns::MEDIA),
             Tag(isMedia2 ? "tr2:GetSnapshotUri" : "trt:GetSnapshotUri",
                 Tag(isMedia2 ? "tr2:ProfileToken" : "trt:ProfileToken", profile)),
             [this](const SoapReply& reply) { addressCame(reply); });
}

Snapshot::~Snapshot() {
  if (message) {
    g_signal_handlers_disconnect_by_data(message.get(), this);
  }
  g_cancellable_cancel(cancellable.get());
}

void Snapshot::addressCame(const SoapReply& reply) {
  if (!reply.ok()) {
    return callbacks.onTrouble(
        reply.failure().trouble == onvif::Trouble::missing ? NONE : reply.failure().words);
  }
  std::string uri;
  for (const XmlElement& child : reply.body().children()) {
    const auto inner = child.child(ns::SCHEMA, "Uri");
    uri = child.name().name == "Uri" ? child.text() : inner ? inner->text() : uri;
  }
  const std::string address = onvif::reachedAt(uri, calls.getDevice());
  if (address.starts_with("http://")) {
    message.reset(soup_message_new("GET", address.c_str()));
  }
  if (!message) {
    return callbacks.onTrouble(NONE);
  }
  soup_message_add_flags(message.get(), SOUP_MESSAGE_NO_REDIRECT);
  g_signal_connect(message.get(), "authenticate", G_CALLBACK(authenticate), this);
  soup_session_send_async(session.get(), message.get(), G_PRIORITY_DEFAULT, cancellable.get(),
                          opened, this);
}

// A password is sent as a digest or not at all.
gboolean Snapshot::authenticate(SoupMessage*, SoupAuth* auth, gboolean retrying, gpointer data) {
  const onvif::Login& login = static_cast<Snapshot*>(data)->login;
  const bool isDigest = std::string(soup_auth_get_scheme_name(auth)) == "Digest";
  if (retrying != FALSE || !isDigest || login.user.empty()) {
    return FALSE;
  }
  soup_auth_authenticate(auth, login.user.c_str(), login.password.c_str());
  return TRUE;
}

// Whoever has given it up is not there any more: neither of both looks at self then.
void Snapshot::opened(GObject* session, GAsyncResult* result, gpointer data) {
  ErrorSlot error;
  const GObjectPtr<GInputStream> stream(
      soup_session_send_finish(SOUP_SESSION(session), result, error.out()));
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
    return;
  }
  auto* self = static_cast<Snapshot*>(data);
  if (!stream) {
    return self->callbacks.onTrouble("The camera's picture does not come: " + error.message());
  }
  self->read(stream.get());
}

void Snapshot::read(GInputStream* stream) {
  g_input_stream_read_bytes_async(stream, PART, G_PRIORITY_DEFAULT, cancellable.get(), wasRead,
                                  this);
}

void Snapshot::wasRead(GObject* source, GAsyncResult* result, gpointer data) {
  auto* stream = G_INPUT_STREAM(source);
  ErrorSlot error;
  const GBytesPtr part(g_input_stream_read_bytes_finish(stream, result, error.out()));
  if (g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
    return;
  }
  auto* self = static_cast<Snapshot*>(data);
  if (!part) {
    return self->callbacks.onTrouble("The camera's picture broke off");
  }
  gsize length = 0;
  const auto* bytes = static_cast<const char*>(g_bytes_get_data(part.get(), &length));
  if (length == 0) {
    return self->ended();
  }
  if (self->picture.size() + length > MOST_BYTES) {
    return self->callbacks.onTrouble("The camera's picture is too long");
  }
  self->picture.append(bytes, length);
  self->read(stream);
}

void Snapshot::ended() {
  const bool isOk = soup_message_get_status(message.get()) == SOUP_STATUS_OK;
  if (!isOk || !isJpeg(picture)) {
    return callbacks.onTrouble(NONE);
  }
  callbacks.onPicture(picture);
}

}  // namespace device::bridge
