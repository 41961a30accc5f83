/* libovparameter: the device's parameter store.
 *
 * Parameters are text values under dotted names such as "root.Brand.ProdNbr". A name given without
 * the leading "root." names the same parameter. A handle may be used from one thread at a time. */
#ifndef PLATFORM_OVPARAMETER_H
#define PLATFORM_OVPARAMETER_H

#include <glib.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct OVParameter OVParameter;

/* Opens the store for an application. Null on failure, with *error set when error is not null. The
 * caller releases the handle with ov_parameter_free. */
OVParameter* ov_parameter_new(const char* app_name, GError** error);

/* Reads one parameter. On success TRUE, and *value is a text that the caller releases with g_free.
 * FALSE when there is no such parameter (G_DBUS_ERROR_INVALID_ARGS, the store's own answer) or the
 * store cannot be reached (any other error); *value is left alone. */
gboolean ov_parameter_get(OVParameter* handle, const char* name, char** value, GError** error);

/* Releases the handle; null is ignored. */
void ov_parameter_free(OVParameter* handle);

#ifdef __cplusplus
}
#endif

#endif
