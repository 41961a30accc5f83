/* libptztolva: commands to the PTZ head.
 *
 * Pan and tilt are degrees (pan -180 to 180 growing to the right, tilt growing upwards) for
 * positions and percent of full speed (-100 to 100) for speeds. Zoom is a position on the head's
 * own scale (its MinZoom to MaxZoom) or percent of full speed. A continuous motion goes on until
 * the next command for that axis, and no longer than a second or so without one: whoever moves a
 * head repeats the speed as long as it is to move. The library serialises its calls; each may be
 * made from any thread. Functions return TRUE, or FALSE with *error set (when error is not null).
 *
 * A service that does not answer must not keep the caller: a call fails after 3 s at most, and
 * after 0.5 s for as long as the service has left the one before unanswered, so that a caller that
 * has to end, which makes one call more, is not kept by it. A call that waits for that of another
 * thread takes that time, too. A service or a bus that has come back is found by the next call. */
#ifndef PLATFORM_PTZTOLVA_H
#define PLATFORM_PTZTOLVA_H

#include <glib.h>

#ifdef __cplusplus
extern "C" {
#endif

/* How a command drives an axis. */
enum {
  PTZTOLVA_MOVE_NONE = 0,      /* not driven by this command: the axis keeps what it does */
  PTZTOLVA_MOVE_ABSOLUTE = 1,  /* go to a position */
  PTZTOLVA_MOVE_CONTINUOUS = 3 /* go on at a speed */
};

typedef struct ptztolva_status {
  float pan;       /* degrees */
  int pan_moving;  /* 1 while the axis moves */
  float tilt;      /* degrees */
  int tilt_moving; /* 1 while the axis moves */
  int zoom;        /* the head's scale */
  int zoom_moving; /* 1 while the lens moves */
} ptztolva_status;

/* Prepares the library; TRUE when the PTZ service can be reached. Calls before it fail. */
gboolean ptztolva_init(void);

/* Releases what the library holds. */
void ptztolva_cleanup(void);

/* Moves the head of a channel. reserved arguments are 0. source names the caller to the service.
 * speed is the limit in percent for absolute motions; 0 there together with zero continuous speeds
 * is a stop that also drops whatever the head has queued. */
gboolean ptztolva_move_ptz_travo(int reserved_a, int channel, const char* source, int reserved_b,
                                 int pan_kind, int tilt_kind, int zoom, int zoom_kind, double pan,
                                 double tilt, int speed, int reserved_c, int reserved_d,
                                 GError** error);

/* Sends the head to its home position at a speed in percent. */
gboolean ptztolva_goto_home(int reserved_a, int channel, const char* source, int reserved_b,
                            int speed, int reserved_c, int reserved_d, GError** error);

/* Reads where the head is. */
gboolean ptztolva_get_ptz_status(int channel, ptztolva_status* status, GError** error);

#ifdef __cplusplus
}
#endif

#endif
