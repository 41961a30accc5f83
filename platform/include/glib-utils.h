/* libglib-utils: the process-wide main loop of an application. */
#ifndef PLATFORM_GLIB_UTILS_H
#define PLATFORM_GLIB_UTILS_H

#ifdef __cplusplus
extern "C" {
#endif

/* Starts one thread that runs the default GLib main context for the rest of the process' life, so
 * that bus signals and event callbacks are delivered there. Further calls do nothing. The names are
 * those under which the application appears to the platform; they are copied. */
void mainloop_start(const char* app_name, const char* nice_name, const char* topic0);

#ifdef __cplusplus
}
#endif

#endif
