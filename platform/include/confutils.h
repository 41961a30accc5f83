/* libconfutils: writing of configuration files. */
#ifndef PLATFORM_CONFUTILS_H
#define PLATFORM_CONFUTILS_H

#include <glib.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Replaces the file's contents in one step and flushes it to storage before it returns: at any
 * moment, also across a power failure, the path names either the old contents or the new, whole.
 * A temporary file in the same folder is written, flushed and takes the path's name, then the
 * folder is flushed. length -1 means up to the terminating zero. The mode of an existing file is
 * kept; a new file gets 0644. On failure the old file stands untouched (there is none where there
 * was none), no temporary file remains, FALSE is returned and *error (when error is not null) holds
 * a GError that the caller frees. One exception: on a file system that cannot exchange two names
 * (RENAME_EXCHANGE), the new contents stand, whole, when nothing but the flush of the folder has
 * failed. */
gboolean confutils_set_file_contents_with_sync(const char* path, const char* contents,
                                               gssize length, GError** error);

#ifdef __cplusplus
}
#endif

#endif
