#pragma once

#include <curl/curl.h>

namespace agent::spf::etcd {

/// The functions of libcurl, which is loaded when they are needed first: with its own dependencies it takes longer to
/// load than all other libraries of a host together, and most hosts do without etcd.
///
/// Immutable; any thread may use it.
class CurlLibrary {
 public:
  /// Loads the library and initialises it. It stays loaded, because a thread of libcurl looks up names and continues
  /// after its request was cancelled.
  /// \param file  as the loader finds it
  /// \throws std::runtime_error with the loader's reason
  explicit CurlLibrary(const char* file);

  CurlLibrary(const CurlLibrary&) = delete;
  CurlLibrary& operator=(const CurlLibrary&) = delete;

  /// Returns the functions of the library that this code was compiled for.
  /// \throws std::runtime_error as the constructor does; a later call tries again
  static const CurlLibrary& instance();

  // Set by the constructor, then constant; named as in libcurl's documentation, without their prefix:
  decltype(&curl_global_init) global_init = nullptr;
  decltype(&curl_easy_init) easy_init = nullptr;
  decltype(&curl_easy_cleanup) easy_cleanup = nullptr;
  decltype(&curl_easy_setopt) easy_setopt = nullptr;
  decltype(&curl_easy_getinfo) easy_getinfo = nullptr;
  decltype(&curl_easy_strerror) easy_strerror = nullptr;
  decltype(&curl_multi_init) multi_init = nullptr;
  decltype(&curl_multi_cleanup) multi_cleanup = nullptr;
  decltype(&curl_multi_add_handle) multi_add_handle = nullptr;
  decltype(&curl_multi_remove_handle) multi_remove_handle = nullptr;
  decltype(&curl_multi_poll) multi_poll = nullptr;
  decltype(&curl_multi_perform) multi_perform = nullptr;
  decltype(&curl_multi_wakeup) multi_wakeup = nullptr;
  decltype(&curl_multi_info_read) multi_info_read = nullptr;
  decltype(&curl_multi_strerror) multi_strerror = nullptr;
  decltype(&curl_slist_append) slist_append = nullptr;
  decltype(&curl_slist_free_all) slist_free_all = nullptr;

 private:
  template <class Function>
  void find(Function*& function, const char* name);

  void* const library_;
};

}  // namespace agent::spf::etcd
