
#ifndef KSPROXYSESSION_EXPORT_H
#define KSPROXYSESSION_EXPORT_H

#ifdef KSPROXYSESSION_STATIC_DEFINE
#  define KSPROXYSESSION_EXPORT
#  define KSPROXYSESSION_NO_EXPORT
#else
#  ifndef KSPROXYSESSION_EXPORT
#    ifdef ksproxysession_EXPORTS
        /* We are building this library */
#      define KSPROXYSESSION_EXPORT __attribute__((visibility("default")))
#    else
        /* We are using this library */
#      define KSPROXYSESSION_EXPORT __attribute__((visibility("default")))
#    endif
#  endif

#  ifndef KSPROXYSESSION_NO_EXPORT
#    define KSPROXYSESSION_NO_EXPORT __attribute__((visibility("hidden")))
#  endif
#endif

#ifndef KSPROXYSESSION_DEPRECATED
#  define KSPROXYSESSION_DEPRECATED __attribute__ ((__deprecated__))
#endif

#ifndef KSPROXYSESSION_DEPRECATED_EXPORT
#  define KSPROXYSESSION_DEPRECATED_EXPORT KSPROXYSESSION_EXPORT KSPROXYSESSION_DEPRECATED
#endif

#ifndef KSPROXYSESSION_DEPRECATED_NO_EXPORT
#  define KSPROXYSESSION_DEPRECATED_NO_EXPORT KSPROXYSESSION_NO_EXPORT KSPROXYSESSION_DEPRECATED
#endif

#if 0 /* DEFINE_NO_DEPRECATED */
#  ifndef KSPROXYSESSION_NO_DEPRECATED
#    define KSPROXYSESSION_NO_DEPRECATED
#  endif
#endif

#endif /* KSPROXYSESSION_EXPORT_H */
