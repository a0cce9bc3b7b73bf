#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <ac/com/runtime/Component_singleton.h>

#include "registry/Components.h"
#include "registry/Runnable.h"

namespace zvg::val::diag_ara::services {

/// Makes a component.
using Factory = std::function<std::unique_ptr<Runnable>()>;

/// Which components exist, by identifier; their order is the order of creation and start.
using ServiceTable = std::map<std::string, Factory>;

/// Which message ids reach which component, by identifier.
using RoutingTable = std::multimap<std::string, unsigned short>;

/// Turns the two tables into live components and finds them by message id.
///
/// Owned by the bridge; every operation runs under the bridge's state lock, and no component thread touches
/// the maps, so there is no lock here. The components live from `init` to `destroy`. The destructor ends what
/// `destroy` has not: it asks every component to stop and lets go of all of them.
class Diag_Ara_Components : public Components {
public:
    /// Copies both tables.
    Diag_Ara_Components(ServiceTable& services, RoutingTable& msgIds);
    ~Diag_Ara_Components() override;

    /// Makes all components, builds the routing, then initialises and starts one after another. Always 0.
    /// An exception of a component goes on to the caller and leaves the ones before it standing until
    /// `destroy`. Throws std::runtime_error if the communication runtime couldn't be made at library load.
    int init() override;
    void destroy() override;
    Runnable* get(int msgId) override;
    std::vector<Runnable*> getReceivers(int msgId) override;

    /// Makes the component of that identifier; empty if there is none.
    std::unique_ptr<Runnable> create(std::string identifier);

    /// The communication runtime, from library load to the very end: it outlives every component. Null if it
    /// couldn't be made (an unusable deployment, say): then m_runtime_error tells why, and `init` fails with
    /// it. The pointer and the text are never destroyed.
    static std::unique_ptr<ac::com::runtime::Component_singleton>& m_runtime_object;
    static std::string& m_runtime_error;

private:
    template <class... Args>
    void out(int level, Args... args);

    ServiceTable m_serviceFactories;
    std::map<std::string, std::shared_ptr<Runnable>> m_componentsByName;
    RoutingTable m_msgIdsByName;
    std::multimap<unsigned short, std::shared_ptr<Runnable>> m_receivers;
    int m_generation = 0;
    std::string m_name;
};

}  // namespace zvg::val::diag_ara::services
