/* libconfutils: writing of configuration files. */
#ifndef PLATFORM_CONFUTILS_H
#define PLATFORM_CONFUTILS_H

#include <glib.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Replaces the file's contents in one step and flushes it to storage before it returns: at any
 * moment, also across a power failure, the path names either the old contents or the new, whole.
 * A temporary file in the same folder is written, flushed and renamed over the path, then the
 * folder is flushed. length -1 means up to the terminating zero. The mode of an existing file is
 * kept; a new file gets 0644. On failure the old file stands untouched, no temporary file remains,
 * FALSE is returned and *error (when error is not null) holds a GError that the caller frees. */
gboolean confutils_set_file_contents_with_sync(const char* path, const char* contents,
                                               gssize length, GError** error);

#ifdef __cplusplus
}
#endif

#endif
