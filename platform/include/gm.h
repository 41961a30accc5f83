/* libgeometry: polygons and polylines on the Q12 grid.
 *
 * Every coordinate is a signed 16-bit number with 12 fractional bits (4096 is 1.0). A polygon is an
 * array of vertices that is not closed: the last vertex joins the first. It may be concave, may
 * cross itself and may have any orientation. A polyline is an array of points joined in order.
 *
 * Meaning of inside: the even-odd rule. A point on an edge or a vertex counts as inside, and two
 * shapes that share no more than a border point intersect (touching counts). The predicates are
 * exact: integer arithmetic of 64 bits and no tolerance.
 *
 * The functions keep no state and may be called from any thread. Pointers are never kept. */
#ifndef PLATFORM_GM_H
#define PLATFORM_GM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct gm_point {
  int16_t x; /* Q12, grows to the right */
  int16_t y; /* Q12, grows upwards */
} gm_point;

typedef enum gm_clip_e {
  GM_CLIP_INTERSECTION = 0, /* what lies in both */
  GM_CLIP_UNION = 1,        /* what lies in either */
  GM_CLIP_XOR = 2,          /* what lies in exactly one */
  GM_CLIP_CUT_OFF = 3       /* what lies in the subject but not in the clip polygon */
} gm_clip_e;

/* 1 when the point lies inside the polygon or on its border, else 0. No vertices: 0. */
int gm_inside_p(gm_point point, const gm_point* polygon, int count);

/* 1 when the polygons share at least one point (areas, touching borders, one inside the other). */
int gm_intersect_pp(const gm_point* a, int a_count, const gm_point* b, int b_count);

/* 1 when the polygon (its area and its border) and the polyline share at least one point. */
int gm_intersect_ps(const gm_point* polygon, int polygon_count, const gm_point* line,
                    int line_count);

/* 1 when the polylines share at least one point. */
int gm_intersect_ss(const gm_point* a, int a_count, const gm_point* b, int b_count);

/* Writes the centroid of the polygon's area, rounded to the nearest grid point (halves away from
 * zero). Returns 0, or -1 without writing when there are no vertices, when the signed area is 0, or
 * when the centroid lies beyond the 16-bit range (possible for outlines that cross themselves). */
int gm_centroid_p(const gm_point* polygon, int count, gm_point* centroid);

/* Scales the vertices in place about the origin: x by scale[0], y by scale[1], both in 16.16 fixed
 * point; results are rounded to the nearest grid point, halves away from zero. Returns 0, or -1
 * without changing anything when a result would leave the 16-bit range. */
int gm_transform_scale(gm_point* vertices, int count, const int32_t scale[2]);

/* Clips subject by clip, both filled by the even-odd rule.
 *
 * Returns the number n of result polygons, or -1 on failure (a null array with a count, or an
 * unknown operation). With n > 0, *results becomes an array of n vertex arrays and *counts an array
 * of their n lengths (each at least 3); the caller releases every vertex array, then both arrays,
 * with free(). With n <= 0 both become null. Vertices lie on the grid; pieces that have no area
 * after rounding are left out. Pieces are simple outlines: an area with a hole is returned as
 * pieces without holes that together cover it. */
int gm_clip_pp(const gm_point* subject, int subject_count, const gm_point* clip, int clip_count,
               gm_clip_e operation, gm_point*** results, int** counts);

#ifdef __cplusplus
}
#endif

#endif
