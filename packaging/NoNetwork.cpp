// Stands in for libcurl in the archive, where Xerces-C would otherwise bring some thirty libraries along for
// a network that the host never uses. It has the functions that Xerces-C names, and each of them fails as it
// would without a network.

namespace {

constexpr int kFailed = 2;  // "could not be initialised", of the easy and of the multi interface alike

}  // namespace

extern "C" {

int curl_global_init(long) {
  return kFailed;
}
void curl_global_cleanup() {}

void* curl_easy_init() {
  return nullptr;
}
void curl_easy_cleanup(void*) {}
int curl_easy_setopt(void*, int, ...) {
  return kFailed;
}
int curl_easy_getinfo(void*, int, ...) {
  return kFailed;
}

void* curl_multi_init() {
  return nullptr;
}
int curl_multi_cleanup(void*) {
  return kFailed;
}
int curl_multi_add_handle(void*, void*) {
  return kFailed;
}
int curl_multi_remove_handle(void*, void*) {
  return kFailed;
}
int curl_multi_fdset(void*, void*, void*, void*, int*) {
  return kFailed;
}
int curl_multi_timeout(void*, long*) {
  return kFailed;
}

int curl_multi_perform(void*, int* running) {
  *running = 0;
  return kFailed;
}

void* curl_multi_info_read(void*, int* left) {
  *left = 0;
  return nullptr;
}

void* curl_slist_append(void*, const char*) {
  return nullptr;
}
void curl_slist_free_all(void*) {}

}  // extern "C"
