/* libfixmath: conversion tables of the device's fixed-point numbers.
 *
 * A value with n fractional bits becomes a floating-point number by multiplying it with entry n of
 * a table: entry n is 2 to the power of -n. Both tables have entries 0 to 31, are constant and may
 * be read from any thread. */
#ifndef PLATFORM_FIXMATH_H
#define PLATFORM_FIXMATH_H

#ifdef __cplusplus
extern "C" {
#endif

#define FX_TAB_SIZE 32

/* Factors in double precision. */
extern const double fx_xtod_tab[FX_TAB_SIZE];

/* Factors in single precision. */
extern const float fx_xtof_tab[FX_TAB_SIZE];

#ifdef __cplusplus
}
#endif

#endif
