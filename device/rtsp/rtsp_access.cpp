#include "rtsp/rtsp_access.h"

#include <memory>
#include <string>

namespace device {
namespace {

constexpr char HAS_USER[] = "has user";
constexpr char FAULTS[] = "faults";

using Shared = std::shared_ptr<StreamFaults>;

GstRTSPAuthClass* usualClass(GstRTSPAuth* access) {
  return static_cast<GstRTSPAuthClass*>(g_type_class_peek_parent(G_OBJECT_GET_CLASS(access)));
}

// Whoever says no also answers.
gboolean refuse(GstRTSPContext* request, GstRTSPStatusCode status) {
  gst_rtsp_message_init_response(request->response, status, gst_rtsp_status_as_text(status),
                                 request->request);
  gst_rtsp_client_send_message(request->client, request->session, request->response);
  return FALSE;
}

gboolean check(GstRTSPAuth* access, GstRTSPContext* request, const gchar* what) {
  const auto* faults = static_cast<Shared*>(g_object_get_data(G_OBJECT(access), FAULTS));
  const bool isConnecting = std::string(what) == GST_RTSP_AUTH_CHECK_CONNECT;
  if (isConnecting && faults != nullptr && (*faults)->isAway) {
    return FALSE;
  }
  if (request->conn != nullptr && gst_rtsp_connection_is_tunneled(request->conn) != FALSE) {
    return refuse(request, GST_RTSP_STS_FORBIDDEN);
  }
  if (!isConnecting && faults != nullptr && (*faults)->isUserForgotten) {
    return refuse(request, GST_RTSP_STS_UNAUTHORIZED);
  }
  const bool hasUser = g_object_get_data(G_OBJECT(access), HAS_USER) != nullptr;
  return hasUser ? usualClass(access)->check(access, request, what) : TRUE;
}

void classMade(gpointer klass, gpointer) {
  static_cast<GstRTSPAuthClass*>(klass)->check = check;
}

}  // namespace

GObjectPtr<GstRTSPAuth> makeRtspAccess(const std::optional<WebUser>& user, const Shared& faults) {
  static const GType TYPE = g_type_register_static_simple(
      GST_TYPE_RTSP_AUTH, "SentrelRtspAccess", sizeof(GstRTSPAuthClass), classMade,
      sizeof(GstRTSPAuth), nullptr, GTypeFlags{});
  GObjectPtr<GstRTSPAuth> access(static_cast<GstRTSPAuth*>(g_object_new(TYPE, nullptr)));
  if (faults) {
    g_object_set_data_full(G_OBJECT(access.get()), FAULTS, new Shared(faults),
                           [](gpointer shared) { delete static_cast<Shared*>(shared); });
  }
  if (user) {
    gst_rtsp_auth_set_supported_methods(access.get(), GST_RTSP_AUTH_DIGEST);
    const std::unique_ptr<GstRTSPToken, GDeleter<gst_rtsp_token_unref>> token(
        gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, RTSP_ROLE, nullptr));
    gst_rtsp_auth_add_digest(access.get(), user->name.c_str(), user->password.c_str(), token.get());
    g_object_set_data(G_OBJECT(access.get()), HAS_USER, access.get());
  }
  return access;
}

}  // namespace device
