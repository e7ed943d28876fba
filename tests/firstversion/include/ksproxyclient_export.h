
#ifndef KSPROXYCLIENT_EXPORT_H
#define KSPROXYCLIENT_EXPORT_H

#ifdef KSPROXYCLIENT_STATIC_DEFINE
#  define KSPROXYCLIENT_EXPORT
#  define KSPROXYCLIENT_NO_EXPORT
#else
#  ifndef KSPROXYCLIENT_EXPORT
#    ifdef ksproxyclient_EXPORTS
        /* We are building this library */
#      define KSPROXYCLIENT_EXPORT __attribute__((visibility("default")))
#    else
        /* We are using this library */
#      define KSPROXYCLIENT_EXPORT __attribute__((visibility("default")))
#    endif
#  endif

#  ifndef KSPROXYCLIENT_NO_EXPORT
#    define KSPROXYCLIENT_NO_EXPORT __attribute__((visibility("hidden")))
#  endif
#endif

#ifndef KSPROXYCLIENT_DEPRECATED
#  define KSPROXYCLIENT_DEPRECATED __attribute__ ((__deprecated__))
#endif

#ifndef KSPROXYCLIENT_DEPRECATED_EXPORT
#  define KSPROXYCLIENT_DEPRECATED_EXPORT KSPROXYCLIENT_EXPORT KSPROXYCLIENT_DEPRECATED
#endif

#ifndef KSPROXYCLIENT_DEPRECATED_NO_EXPORT
#  define KSPROXYCLIENT_DEPRECATED_NO_EXPORT KSPROXYCLIENT_NO_EXPORT KSPROXYCLIENT_DEPRECATED
#endif

#if 0 /* DEFINE_NO_DEPRECATED */
#  ifndef KSPROXYCLIENT_NO_DEPRECATED
#    define KSPROXYCLIENT_NO_DEPRECATED
#  endif
#endif

#endif /* KSPROXYCLIENT_EXPORT_H */
