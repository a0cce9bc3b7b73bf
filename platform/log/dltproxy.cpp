// libdltproxy.so.1 stands among the libraries that the product is linked to, and the product calls nothing of
// it. So this library holds what it needs to be found by the loader, and its version for whoever asks.

extern "C" __attribute__((visibility("default"))) char const* dltproxyVersion() {
    return "1.0.0";
}
