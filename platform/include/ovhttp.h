/* libovhttp: requests that the device's web server forwards to an application.
 *
 * The web server owns the network: users, methods, sizes and time-outs are its business. What it
 * accepts for this application it hands to the registered callback, one request at a time, on a
 * thread of this library:
 *
 *   path        the path of the URL, for instance "/api/sentrelvideo"
 *   method      "GET" or "POST"
 *   query       the text behind the "?" of the URL as it was sent, or null
 *   parameters  a table of text to text: the decoded fields of the query, and, for POST, the whole
 *               body under OV_HTTP_BODY. The body of a request is text: it ends at its first zero.
 *   out         where the answer goes: header lines, each ended by CR LF, one of them
 *               "Status: CODE TEXT", an empty line, then the body. Owned by the library.
 *   user_data   as registered
 *
 * The arguments are valid during the call only. A callback that writes nothing leaves the request
 * unanswered; the web server then answers with an error of its own. */
#ifndef PLATFORM_OVHTTP_H
#define PLATFORM_OVHTTP_H

#include <gio/gio.h>
#include <glib.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Key of the request body in the parameters. No query field can have it. */
#define OV_HTTP_BODY \
  "\x01"             \
  "body"

typedef struct OVHttpHandler OVHttpHandler;

typedef void (*OVHttpCallback)(const char* path, const char* method, const char* query,
                               GHashTable* parameters, GOutputStream* out, void* user_data);

/* Registers the application's one callback. Null when the web server cannot be reached. */
OVHttpHandler* ov_http_handler_new(OVHttpCallback callback, void* user_data);

/* Ends the registration; waits for a request that is being answered. Null is not allowed. */
void ov_http_handler_free(OVHttpHandler* handler);

#ifdef __cplusplus
}
#endif

#endif
