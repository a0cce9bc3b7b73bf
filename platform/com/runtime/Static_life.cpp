// What has static life in this library, Asio's error categories and keys of threads, is not destroyed: a
// thread that the process does not wait for may use any of it to the very end. The linker sends the library's
// calls of __cxa_atexit here.

extern "C" int __wrap___cxa_atexit(void (*)(void*), void*, void*) noexcept;

int __wrap___cxa_atexit(void (* /*destroy*/)(void*), void* /*object*/, void* /*library*/) noexcept {
    return 0;
}
