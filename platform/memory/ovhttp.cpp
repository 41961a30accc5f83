// Nobody asks anything: requests come by the web server, which is not here.
#include <ovhttp.h>

struct OVHttpHandler {};

extern "C" {

OVHttpHandler* ov_http_handler_new(OVHttpCallback, void*) {
  return new OVHttpHandler;
}

void ov_http_handler_free(OVHttpHandler* handler) {
  delete handler;
}

}  // extern "C"
