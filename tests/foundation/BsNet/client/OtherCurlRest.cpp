// The rest of libcurl that the libraries name, beside OtherCurl.cpp, whose header would know other
// types of it: none of it may be called.
#include <cstdlib>

#define KBL_NEVER_CALLED(name)                                    \
  extern "C" __attribute__((visibility("default"))) void name() { \
    std::abort();                                                 \
  }

KBL_NEVER_CALLED(curl_easy_cleanup)
KBL_NEVER_CALLED(curl_easy_getinfo)
KBL_NEVER_CALLED(curl_easy_init)
KBL_NEVER_CALLED(curl_easy_perform)
KBL_NEVER_CALLED(curl_easy_reset)
KBL_NEVER_CALLED(curl_easy_setopt)
KBL_NEVER_CALLED(curl_easy_strerror)
KBL_NEVER_CALLED(curl_free)
KBL_NEVER_CALLED(curl_mime_addpart)
KBL_NEVER_CALLED(curl_mime_data_cb)
KBL_NEVER_CALLED(curl_mime_filename)
KBL_NEVER_CALLED(curl_mime_free)
KBL_NEVER_CALLED(curl_mime_init)
KBL_NEVER_CALLED(curl_mime_name)
KBL_NEVER_CALLED(curl_mime_type)
KBL_NEVER_CALLED(curl_multi_add_handle)
KBL_NEVER_CALLED(curl_multi_cleanup)
KBL_NEVER_CALLED(curl_multi_info_read)
KBL_NEVER_CALLED(curl_multi_init)
KBL_NEVER_CALLED(curl_multi_perform)
KBL_NEVER_CALLED(curl_multi_poll)
KBL_NEVER_CALLED(curl_multi_remove_handle)
KBL_NEVER_CALLED(curl_multi_wakeup)
KBL_NEVER_CALLED(curl_share_cleanup)
KBL_NEVER_CALLED(curl_share_init)
KBL_NEVER_CALLED(curl_share_setopt)
KBL_NEVER_CALLED(curl_slist_append)
KBL_NEVER_CALLED(curl_slist_free_all)
KBL_NEVER_CALLED(curl_strnequal)
KBL_NEVER_CALLED(curl_url)
KBL_NEVER_CALLED(curl_url_cleanup)
KBL_NEVER_CALLED(curl_url_get)
KBL_NEVER_CALLED(curl_url_set)
