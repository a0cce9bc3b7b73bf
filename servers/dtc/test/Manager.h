#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <ac/com/cpp_binding/proxy/Rport.h>

namespace dtc_test {

using Bytes = std::vector<unsigned char>;

/// The event manager's end of one trouble code's monitor, in this process: hears its event, calls its method.
class Manager {
public:
    explicit Manager(unsigned long code);

    /// Whether it is subscribed, now or soon.
    bool awaitSubscribed() const;
    /// Whether that many samples have come, now or soon.
    bool awaitSamples(std::size_t count) const;
    /// Whether the newest sample is that one, now or soon.
    bool awaitLast(Bytes const& sample) const;
    std::vector<Bytes> samples() const;

    /// The reply to an InitMonitor with this payload.
    eb::com::runtime::Call_result initMonitor(Bytes const& payload);

private:
    class Ear;

    std::shared_ptr<Ear> m_ear;
    ac::com::cpp_binding::proxy::Rport m_port;
    std::shared_ptr<eb::com::runtime::Service_finder::Subscription_handle> m_subscription;
};

}  // namespace dtc_test
