#pragma once

#include <memory>
#include <string>

#include "core/Trace.h"
#include "registry/Runnable.h"

namespace zvg::val::diag_ara::services {

/// What servers with one skeleton have alike: the offer of its service, and the beginning of their lines in
/// the log. Whoever derives makes the skeleton in init and withdraws the offer in its own destructor, as long
/// as the operations still find all of it.
template <class SkeletonImpl>
class SkeletonServer : public Runnable {
public:
    /// Offers the service; without init it does nothing.
    void start() override {
        out(level::DETAIL, TRACE_HERE, "");
        if (!m_skeleton) return;
        out(level::DETAIL, TRACE_HERE, "OfferService()");
        m_skeleton->OfferService();
    }

protected:
    template <class... Args>
    void out(eLogLevel level, Args... args) const {
        Trace::out(level, m_logPrefix.c_str(), args...);
    }

    // Written before the offer and read only after it.
    std::unique_ptr<SkeletonImpl> m_skeleton;
    std::string m_instanceId = "1";
    std::string m_logPrefix;
};

}  // namespace zvg::val::diag_ara::services
