/* libptzmath: from the pixels of an overview camera to the angles of the PTZ head.
 *
 * A pinhole model: the picture's middle is the optical axis, the field angles give the focal
 * lengths of both axes. The mounting of a channel (pan, tilt and roll of its optical axis in the
 * head's angles) is a property of the device. Pixels have their origin top left, y downwards; pan
 * grows to the right as seen by the head, -180 to 180 degrees; tilt grows upwards, -90 to 90.
 * Angles pass as signed 32-bit fixed-point numbers with 16 fractional bits (degrees).
 *
 * A context is used from one thread at a time; contexts are independent of each other. */
#ifndef PLATFORM_PTZMATH_H
#define PLATFORM_PTZMATH_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ptzmath_context ptzmath_context;

/* A context with no picture, no mounting and field angles of 0; null when out of memory. */
ptzmath_context* ptzmath_context_create(void);

/* Null is ignored. */
void ptzmath_context_delete(ptzmath_context* context);

/* The picture's size in pixels, as delivered (after rotation). */
void ptzmath_set_pic_dim(ptzmath_context* context, int width, int height);

/* Looks up the mounting of a channel (counted from 1) on the device. 0, or -1 when the device has
 * none for it; the context keeps the mounting it had. */
int ptzmath_get_remote_center(ptzmath_context* context, int channel);

/* The field angle across the whole width or height of the picture. */
void ptzmath_set_horiz_fov_x(ptzmath_context* context, int32_t fov);
void ptzmath_set_vert_fov_x(ptzmath_context* context, int32_t fov);

/* The head's pan and tilt at which it looks where the pixel looks. While a field angle is 0, every
 * pixel is taken for the picture's middle in that direction. */
void ptzmath_to_ptz_x(const ptzmath_context* context, int32_t* pan, int32_t* tilt, int x, int y);

/* The angle between the lines of sight to both ends of a horizontal extent in pixels that is
 * centred on the pixel; never negative, whatever the extent's sign. */
int32_t ptzmath_to_remote_zoom(const ptzmath_context* context, int x, int y, int extent);

#ifdef __cplusplus
}
#endif

#endif
