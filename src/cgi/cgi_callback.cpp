#include "cgi/cgi_callback.h"

#include <ovhttp.h>
#include <syslog.h>

#include <exception>

#include "app/lock_order.h"
#include "app/memory_lease.h"
#include "base/json_text.h"
#include "base/mutex.h"
#include "cgi/cgi_handler.h"
#include "cgi/cgi_request.h"
#include "cgi/cgi_responder.h"
#include "config/constants.h"

namespace {

// Serialises requests.
Mutex s_mutex ACQUIRED_AFTER(lock_order::APPLICATION) ACQUIRED_BEFORE(lock_order::REQUEST);
bool s_isRunning GUARDED_BY(s_mutex) = true;

// Which of the service's arguments carries the request: the body of a POST, else the query.
std::string pickRequestText(const char* query, GHashTable* parameters) {
  const void* body =
      parameters != nullptr ? g_hash_table_lookup(parameters, OV_HTTP_BODY) : nullptr;
  if (body != nullptr) {
    return static_cast<const char*>(body);
  }
  return query != nullptr ? query : "";
}

std::string createAnswer(const CGI_Header& header, const CGI_HandlerResult& result) {
  const JsonAutoPtr answer = header.createResponseHeader();
  const bool isOk = result.status == StatusCode_e::ok;
  JsonAutoPtr member = isOk ? result.data
                            : JsonAutoPtr(json_pack("{s:s, s:s}", "code", result.code.c_str(),
                                                    "message", result.message.c_str()));
  if (isOk && !member) {
    member = JsonAutoPtr(json_object());
  }
  if (json_object_set(answer.get(), isOk ? "data" : "error", member.get()) != 0) {
    syslog(LOG_WARNING, "Could not append handler data to CGI response\n");
  }
  return toText(answer.get(), constants::JSON_DUMP_FLAGS);
}

}  // namespace

void CGI_Callback::handle(const char*, const char*, const char* query, GHashTable* parameters,
                          GOutputStream* out, void* userData) {
  const LockGuard lock(s_mutex);
  if (!s_isRunning) {
    return;
  }
  try {
    const MemoryLease lease;
    CGI_Handler& handler = *static_cast<CGI_Handler*>(userData);
    const CGI_Request request(DecodedText::repaired(pickRequestText(query, parameters)),
                              handler.getVersionHandler());
    const CGI_HandlerResult result = handler.handleRequest(request);
    CGI_Responder::sendResponse(createAnswer(request.header, result), out);
  } catch (const std::exception& problem) {
    syslog(LOG_ERR, "%s\n", problem.what());
  }
}

void CGI_Callback::shutDown() {
  const LockGuard lock(s_mutex);
  s_isRunning = false;
}

std::string CGI_Callback::repairTail(const std::string& text) {
  return DecodedText::repaired(text).text;
}
