#pragma once

// Export attributes. A library that is being built defines its KBL_BUILD_... symbol; everybody else imports.
#if defined(_WIN32)
#define KBL_EXPORT __declspec(dllexport)
#define KBL_IMPORT __declspec(dllimport)
// A pure interface is all in its header: nothing of it is exported, and whoever implements it needs no
// library.
#define KBL_INTERFACE
#else
#define KBL_EXPORT __attribute__((visibility("default")))
#define KBL_IMPORT __attribute__((visibility("default")))
#define KBL_INTERFACE __attribute__((visibility("default")))
#endif

#if defined(KBL_BUILD_BSNET)
#define KBL_BSNET_API KBL_EXPORT
#else
#define KBL_BSNET_API KBL_IMPORT
#endif

#if defined(KBL_BUILD_KBLUTILS)
#define KBL_UTILS_API KBL_EXPORT
#else
#define KBL_UTILS_API KBL_IMPORT
#endif

#if defined(KBL_BUILD_KBLLOGGER)
#define KBL_LOGGER_API KBL_EXPORT
#else
#define KBL_LOGGER_API KBL_IMPORT
#endif

#if defined(KBL_BUILD_BSCLOUDCONFIG)
#define KBL_CLOUDCONFIG_API KBL_EXPORT
#else
#define KBL_CLOUDCONFIG_API KBL_IMPORT
#endif

#if defined(KBL_BUILD_TRANSFER)
#define KBL_TRANSFER_API KBL_EXPORT
#elif defined(KBL_STATIC_TRANSFER)
#define KBL_TRANSFER_API
#else
#define KBL_TRANSFER_API KBL_IMPORT
#endif
