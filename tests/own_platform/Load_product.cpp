// Loads the product as a JVM does, with every symbol resolved at once, and registers and unregisters.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/FakeJni.h"

namespace {

template <class Function>
Function* find(void* product, char const* name) {
    void* const found = ::dlsym(
        product,
        (std::string("Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_") + name).c_str());
    if (found == nullptr) {
        std::fprintf(stderr, "%s\n", ::dlerror());
        std::exit(EXIT_FAILURE);
    }
    return reinterpret_cast<Function*>(found);
}

}  // namespace

int main(int, char** arguments) {
    void* const product = ::dlopen(arguments[1], RTLD_NOW);
    if (product == nullptr) {
        std::fprintf(stderr, "%s\n", ::dlerror());
        return EXIT_FAILURE;
    }
    auto* const registerJava = find<jint(JNIEnv*, jobject, jobject, jint)>(product, "register");
    auto* const unregisterJava = find<jint(JNIEnv*, jobject)>(product, "unregister");
    fake::Jvm jvm;
    for (int round = 0; round < 2; ++round) {
        int const registered = registerJava(jvm.env(), nullptr, jvm.listener(), 5);
        int const unregistered = unregisterJava(jvm.env(), nullptr);
        std::printf("register %d, unregister %d\n", registered, unregistered);
    }
    for (std::string const& violation : jvm.violations()) std::printf("%s\n", violation.c_str());
    return EXIT_SUCCESS;
}
