/*
 * What pins the layouts of the shared-memory regions: a build in which a member lies elsewhere
 * fails. The checks of the documentation and of the tools read the offsets from these lines, too.
 */
#ifndef FIELDRELAYBOX_LAYOUT_H
#define FIELDRELAYBOX_LAYOUT_H

#include <stddef.h>

#ifdef __cplusplus
#define FIELDRELAYBOX_LAYOUT(type, member, offset)                                                 \
    static_assert(offsetof(type, member) == (offset), #type "." #member " is at " #offset)
#define FIELDRELAYBOX_SIZE(type, size) static_assert(sizeof(type) == (size), #type " size")
#else
#define FIELDRELAYBOX_LAYOUT(type, member, offset)                                                 \
    _Static_assert(offsetof(type, member) == (offset), #type "." #member " is at " #offset)
#define FIELDRELAYBOX_SIZE(type, size) _Static_assert(sizeof(type) == (size), #type " size")
#endif

#endif
