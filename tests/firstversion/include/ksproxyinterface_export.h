
#ifndef KSPROXYINTERFACE_EXPORT_H
#define KSPROXYINTERFACE_EXPORT_H

#ifdef KSPROXYINTERFACE_STATIC_DEFINE
#  define KSPROXYINTERFACE_EXPORT
#  define KSPROXYINTERFACE_NO_EXPORT
#else
#  ifndef KSPROXYINTERFACE_EXPORT
#    ifdef ksproxyinterface_EXPORTS
        /* We are building this library */
#      define KSPROXYINTERFACE_EXPORT __attribute__((visibility("default")))
#    else
        /* We are using this library */
#      define KSPROXYINTERFACE_EXPORT __attribute__((visibility("default")))
#    endif
#  endif

#  ifndef KSPROXYINTERFACE_NO_EXPORT
#    define KSPROXYINTERFACE_NO_EXPORT __attribute__((visibility("hidden")))
#  endif
#endif

#ifndef KSPROXYINTERFACE_DEPRECATED
#  define KSPROXYINTERFACE_DEPRECATED __attribute__ ((__deprecated__))
#endif

#ifndef KSPROXYINTERFACE_DEPRECATED_EXPORT
#  define KSPROXYINTERFACE_DEPRECATED_EXPORT KSPROXYINTERFACE_EXPORT KSPROXYINTERFACE_DEPRECATED
#endif

#ifndef KSPROXYINTERFACE_DEPRECATED_NO_EXPORT
#  define KSPROXYINTERFACE_DEPRECATED_NO_EXPORT KSPROXYINTERFACE_NO_EXPORT KSPROXYINTERFACE_DEPRECATED
#endif

#if 0 /* DEFINE_NO_DEPRECATED */
#  ifndef KSPROXYINTERFACE_NO_DEPRECATED
#    define KSPROXYINTERFACE_NO_DEPRECATED
#  endif
#endif

#endif /* KSPROXYINTERFACE_EXPORT_H */
