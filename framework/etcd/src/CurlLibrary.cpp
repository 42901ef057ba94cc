#include "CurlLibrary.hpp"

#include <stdexcept>
#include <string>

#include <dlfcn.h>

namespace agent::spf::etcd {

namespace {

std::runtime_error failure() {
  const char* const reason = dlerror();
  return std::runtime_error(std::string("cannot load libcurl: ") + (reason != nullptr ? reason : "unknown reason"));
}

}  // namespace

CurlLibrary::CurlLibrary(const char* file) : library_(dlopen(file, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {
  if (library_ == nullptr) {
    throw failure();
  }
  find(global_init, "curl_global_init");
  find(easy_init, "curl_easy_init");
  find(easy_cleanup, "curl_easy_cleanup");
  find(easy_setopt, "curl_easy_setopt");
  find(easy_getinfo, "curl_easy_getinfo");
  find(easy_strerror, "curl_easy_strerror");
  find(multi_init, "curl_multi_init");
  find(multi_cleanup, "curl_multi_cleanup");
  find(multi_add_handle, "curl_multi_add_handle");
  find(multi_remove_handle, "curl_multi_remove_handle");
  find(multi_poll, "curl_multi_poll");
  find(multi_perform, "curl_multi_perform");
  find(multi_wakeup, "curl_multi_wakeup");
  find(multi_info_read, "curl_multi_info_read");
  find(multi_strerror, "curl_multi_strerror");
  find(slist_append, "curl_slist_append");
  find(slist_free_all, "curl_slist_free_all");
  if (global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
    throw std::runtime_error("cannot initialise libcurl");
  }
}

const CurlLibrary& CurlLibrary::instance() {
  static const CurlLibrary library(SPF_CURL_LIBRARY);
  return library;
}

template <class Function>
void CurlLibrary::find(Function*& function, const char* name) {
  function = reinterpret_cast<Function*>(dlsym(library_, name));
  if (function == nullptr) {
    throw failure();
  }
}

}  // namespace agent::spf::etcd
