#pragma once

#include <string>
#include <utility>

#include "binding/skeleton/Skeleton_impl.h"

namespace ara::com::internal::skeleton {

/// Base of a service's generated skeleton, from which the implementation derives.
///
/// Owned by the implementation's owner. Its destructor withdraws the offer, but by then the implementation is
/// gone: whoever offered calls StopOfferService first.
template <class Service>
class Skeleton {
public:
    /// `processingMode`: 1 calls side by side, 2 one at a time, else none. Throws
    /// ac::com::Invalid_argument_exception if the instance isn't deployed.
    Skeleton(std::string instanceId, unsigned char processingMode)
        : m_binding(std::move(instanceId), processingMode) {}
    virtual ~Skeleton() = default;
    Skeleton(Skeleton const&) = delete;
    Skeleton& operator=(Skeleton const&) = delete;

    /// Makes the service reachable.
    void OfferService() { m_binding.offer(); }

    /// Withdraws the service. No call runs any more when it returns, except the caller's own; replies still
    /// leave.
    void StopOfferService() { m_binding.stop_offer(); }

protected:
    using Binding = ac::com::cpp_binding::skeleton::Skeleton_impl<Service>;

    Binding& binding() noexcept { return m_binding; }

private:
    Binding m_binding;
};

}  // namespace ara::com::internal::skeleton
