#include "platform/com/runtime/Counters.h"

eb::com::runtime::Counters& eb::com::runtime::counters() noexcept {
    static Counters counters;
    return counters;
}
