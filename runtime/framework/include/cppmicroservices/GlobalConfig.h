#pragma once

// Macros that bundles and callers may rely on, and the names of a bundle library's entry points.

#define US_VERSION_MAJOR 3
#define US_VERSION_MINOR 8
#define US_VERSION_PATCH 0
#define US_VERSION 3.8.0
#define US_VERSION_STR "3.8.0"
#define CppMicroServices_VERSION_MAJOR US_VERSION_MAJOR
#define CppMicroServices_VERSION_MINOR US_VERSION_MINOR
#define CppMicroServices_VERSION_PATCH US_VERSION_PATCH
#define CppMicroServices_VERSION US_VERSION
#define CppMicroServices_VERSION_STR US_VERSION_STR

#define US_BUILD_SHARED_LIBS
#define US_ENABLE_THREADING_SUPPORT
#define US_HAVE_VISIBILITY_ATTRIBUTE
#define US_HAVE_CXXABI_H
#define US_HAVE_THREAD_LOCAL
#define US_HAVE_REGEX
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
#define US_BIG_ENDIAN
#else
#define US_LITTLE_ENDIAN
#endif
#define US_PLATFORM_POSIX
#define US_PLATFORM_LINUX

#define US_LIB_PREFIX "lib"
// Libraries that CMake builds in the configuration Debug have a name of their own.
#ifdef NDEBUG
#define US_LIB_POSTFIX ""
#else
#define US_LIB_POSTFIX "d"
#endif
#define US_LIB_EXT ".so"
#define US_EXE_EXT ""

#define US_ABI_EXPORT __attribute__((visibility("default")))
#define US_ABI_IMPORT __attribute__((visibility("default")))
#define US_ABI_LOCAL __attribute__((visibility("hidden")))
#define US_DEPRECATED __attribute__((deprecated))
#define US_UNUSED(x) (void)(x)

#define US_MSVC_PUSH_DISABLE_WARNING(warning)
#define US_MSVC_POP_WARNING
#define US_MSVC_DISABLE_WARNING(warning)

#define US_FUTURE_READY std::future_status::ready
#define US_FUTURE_TIMEOUT std::future_status::timeout

#define US_STR_(x) #x
#define US_STR(x) US_STR_(x)
#define US_CONCAT_(x, y) x##y
#define US_CONCAT(x, y) US_CONCAT_(x, y)

/// Opens a specialisation of std::hash; the body that follows returns the hash of `arg`.
#define US_HASH_FUNCTION_BEGIN(type) \
  namespace std {                    \
  template <>                        \
  struct hash<type> {                \
    std::size_t operator()(const type& arg) const {
#define US_HASH_FUNCTION_END \
  }                          \
  }                          \
  ;                          \
  }

// The names of a bundle library's entry points end in the bundle's symbolic name. The prefixes differ from those of
// other implementations of the same interface on purpose: a bundle that was built for another one then has no entry
// points here, and is never called with objects that it would misread.
#define US_GET_CTX_PREFIX spf_runtime_get_bundle_context_
#define US_SET_CTX_PREFIX spf_runtime_set_bundle_context_
#define US_CTX_INS_PREFIX spf_runtime_bundle_context_
#define US_CREATE_ACTIVATOR_PREFIX spf_runtime_create_activator_
#define US_DESTROY_ACTIVATOR_PREFIX spf_runtime_destroy_activator_

#define US_GET_CTX_FUNC(symbolic_name) US_CONCAT(US_GET_CTX_PREFIX, symbolic_name)
#define US_SET_CTX_FUNC(symbolic_name) US_CONCAT(US_SET_CTX_PREFIX, symbolic_name)
#define US_CTX_INS(symbolic_name) US_CONCAT(US_CTX_INS_PREFIX, symbolic_name)
#define US_CREATE_ACTIVATOR_FUNC(symbolic_name) US_CONCAT(US_CREATE_ACTIVATOR_PREFIX, symbolic_name)
#define US_DESTROY_ACTIVATOR_FUNC(symbolic_name) US_CONCAT(US_DESTROY_ACTIVATOR_PREFIX, symbolic_name)
