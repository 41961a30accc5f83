#include "cgi/cgi_callback.h"

#include <ovhttp.h>
#include <syslog.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>

#include "app/memory_lease.h"
#include "cgi/cgi_handler.h"
#include "cgi/cgi_responder.h"
#include "config/constants.h"

namespace {

std::mutex s_mutex;  // guards the flag, and serialises requests
bool s_isRunning = true;

struct Free {
  void operator()(char* text) const { std::free(text); }
};

// Which of the service's arguments carries the request: the body of a POST, else the query.
std::string pickRequestText(const char* query, GHashTable* parameters) {
  const void* body =
      parameters != nullptr ? g_hash_table_lookup(parameters, OV_HTTP_BODY) : nullptr;
  if (body != nullptr) {
    return static_cast<const char*>(body);
  }
  return query != nullptr ? query : "";
}

bool isJson(const std::string& text) {
  return static_cast<bool>(JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)));
}

std::string createAnswer(CGI_Handler& handler, const std::string& text) {
  const CGI_HandlerResult result = handler.handleRequest(text);
  const JsonAutoPtr answer = handler.extractHeader(text).createResponseHeader();
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
  const std::unique_ptr<char, Free> dumped(json_dumps(answer.get(), constants::JSON_DUMP_FLAGS));
  return dumped != nullptr ? dumped.get() : "";
}

}  // namespace

void CGI_Callback::handle(const char*, const char*, const char* query, GHashTable* parameters,
                          GOutputStream* out, void* userData) {
  const std::lock_guard lock(s_mutex);
  if (!s_isRunning) {
    return;
  }
  try {
    const MemoryLease lease;
    const std::string text = repairTail(pickRequestText(query, parameters));
    CGI_Responder::sendResponse(createAnswer(*static_cast<CGI_Handler*>(userData), text), out);
  } catch (const std::exception& problem) {
    syslog(LOG_ERR, "%s\n", problem.what());
  }
}

void CGI_Callback::shutDown() {
  const std::lock_guard lock(s_mutex);
  s_isRunning = false;
}

// Cutting the text after its last brace again and again until it decodes ends where its first JSON
// value ends, if that is an object; finding that end directly keeps a long tail of braces cheap.
std::string CGI_Callback::repairTail(const std::string& text) {
  if (isJson(text)) {
    return text;
  }
  json_error_t error{};
  const JsonAutoPtr first(json_loads(text.c_str(), JSON_DISABLE_EOF_CHECK, &error));
  if (!json_is_object(first.get())) {
    return text;
  }
  return text.substr(0, static_cast<std::size_t>(error.position));
}
