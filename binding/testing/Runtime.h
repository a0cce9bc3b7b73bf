#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

#include <ac/com/runtime/Component_singleton.h>

namespace binding_testing {

/// The communication runtime at an address that no other process of this machine uses now.
class Runtime {
private:
    static bool chooseAddress() {
        auto const pid = static_cast<unsigned>(getpid());
        std::string const address =
            "127.88." + std::to_string(pid / 250 % 250 + 1) + "." + std::to_string(pid % 250 + 1);
        return setenv("ARA_COM_ADDRESS", address.c_str(), 1) == 0;
    }

    bool const m_addressChosen = chooseAddress();
    ac::com::runtime::Component_singleton m_singleton{false, "binding_test"};
};

}  // namespace binding_testing
