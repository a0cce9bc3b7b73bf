#pragma once

/**
 * Marks what rests on a record whose layout nobody has agreed with the other side. Using it doesn't compile,
 * unless the program says before it includes the codec that it takes such layouts as they are:
 *
 *     target_compile_definitions(my_program PRIVATE DIAG_ARA_ACCEPT_ASSUMED_LAYOUTS)
 *
 * Including the headers, and handing on ids and bytes of such messages, needs nothing.
 */
#ifdef DIAG_ARA_ACCEPT_ASSUMED_LAYOUTS
#define CODEC_ASSUMED(record)
#else
#define CODEC_ASSUMED(record)                                                                           \
    __attribute__((unavailable("the layout of " #record                                                 \
                               " is assumed, not agreed with the other side: define "                   \
                               "DIAG_ARA_ACCEPT_ASSUMED_LAYOUTS to use it as it is, or agree on it as " \
                               "codec/README.md says")))
#endif
