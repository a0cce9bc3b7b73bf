#pragma once

#include <memory>

#include "platform/com/runtime/Loop.h"
#include "platform/com/someip/Network.h"

namespace eb::com::runtime::someip {

/// The operating system's sockets.
class Asio_network : public Network {
public:
    Asio_network(std::shared_ptr<Loop> loop, std::size_t sendQueueBytes)
        : m_loop(std::move(loop)), m_sendQueueBytes(sendQueueBytes) {}

    std::unique_ptr<Listener> listen(Address const& local, Accepted accepted) override;
    std::shared_ptr<Link> bindDatagrams(Address const& local) override;
    std::shared_ptr<Link> bindGroup(Address const& group, std::uint32_t interface) override;
    std::shared_ptr<Link> connect(Endpoint const& remote) override;
    std::shared_ptr<Link> connectFrom(std::uint32_t local, Address const& remote) override;

private:
    std::shared_ptr<Loop> m_loop;
    std::size_t m_sendQueueBytes;
};

}  // namespace eb::com::runtime::someip
