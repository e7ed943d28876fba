
#ifndef KSPROXYPACKAGE_EXPORT_H
#define KSPROXYPACKAGE_EXPORT_H

#ifdef KSPROXYPACKAGE_STATIC_DEFINE
#  define KSPROXYPACKAGE_EXPORT
#  define KSPROXYPACKAGE_NO_EXPORT
#else
#  ifndef KSPROXYPACKAGE_EXPORT
#    ifdef ksproxypackage_EXPORTS
        /* We are building this library */
#      define KSPROXYPACKAGE_EXPORT __attribute__((visibility("default")))
#    else
        /* We are using this library */
#      define KSPROXYPACKAGE_EXPORT __attribute__((visibility("default")))
#    endif
#  endif

#  ifndef KSPROXYPACKAGE_NO_EXPORT
#    define KSPROXYPACKAGE_NO_EXPORT __attribute__((visibility("hidden")))
#  endif
#endif

#ifndef KSPROXYPACKAGE_DEPRECATED
#  define KSPROXYPACKAGE_DEPRECATED __attribute__ ((__deprecated__))
#endif

#ifndef KSPROXYPACKAGE_DEPRECATED_EXPORT
#  define KSPROXYPACKAGE_DEPRECATED_EXPORT KSPROXYPACKAGE_EXPORT KSPROXYPACKAGE_DEPRECATED
#endif

#ifndef KSPROXYPACKAGE_DEPRECATED_NO_EXPORT
#  define KSPROXYPACKAGE_DEPRECATED_NO_EXPORT KSPROXYPACKAGE_NO_EXPORT KSPROXYPACKAGE_DEPRECATED
#endif

#if 0 /* DEFINE_NO_DEPRECATED */
#  ifndef KSPROXYPACKAGE_NO_DEPRECATED
#    define KSPROXYPACKAGE_NO_DEPRECATED
#  endif
#endif

#endif /* KSPROXYPACKAGE_EXPORT_H */
