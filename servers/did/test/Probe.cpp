#include "servers/did/test/Probe.h"

#include <stdexcept>

#include "servers/did/Servers.h"

namespace did_test {

namespace services = zvg::val::diag_ara::services;
using Code = ac::dm::types::UDSResponseCodeType;

namespace {

void flatten(Bytes& all, std::uint8_t field) {
    all.push_back(field);
}
void flatten(Bytes& all, std::uint16_t field) {
    all.push_back(static_cast<std::uint8_t>(field >> 8U));
    all.push_back(static_cast<std::uint8_t>(field));
}
template <class Field>
void flatten(Bytes& all, Field const& field) {
    all.insert(all.end(), field.begin(), field.end());
}

template <class Base, class Skeleton, class Output>
class TypedProbe : public Probe {
public:
    explicit TypedProbe(Base* server) : m_skeleton("1") { m_skeleton.m_server = server; }

    std::shared_ptr<Outcome> read() override {
        auto outcome = std::make_shared<Outcome>();
        m_skeleton.Read({{"any", "thing"}}).then([outcome](eb::com::Future<Output> result) {
            try {
                Output const output = result.get();
                std::apply([&](auto const&... field) { (flatten(outcome->data, field), ...); },
                           output.fields());
            } catch (Code code) {
                outcome->code = static_cast<int>(code);
            } catch (std::future_error const&) {
                outcome->broken = true;
            }
            outcome->done = true;
        });
        return outcome;
    }

    bool cancel() override {
        auto done = m_skeleton.Cancel({});
        bool const ready = done.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        done.get();
        return ready;
    }

    void completeEarly() override { Access::of(*m_skeleton.m_server)->set_value(Output{}); }

private:
    // promise() is for the decoders of derived classes: borrow their way to it.
    struct Access : Base {
        static auto of(Base& server) { return (server.*(&Access::promise))(); }
    };

    Skeleton m_skeleton;
};

template <class Server, class Skeleton, class Output>
std::unique_ptr<Probe> probe(services::BaseMethodServer<Server, Skeleton, Output, void>* server) {
    return std::make_unique<
        TypedProbe<services::BaseMethodServer<Server, Skeleton, Output, void>, Skeleton, Output>>(server);
}

struct Kind {
    std::uint16_t number;
    std::unique_ptr<services::Runnable> (*create)();
    std::unique_ptr<Probe> (*makeProbe)(services::Runnable*);
};

template <class Server>
Kind kind(std::uint16_t number) {
    return {number, &Server::create,
            [](services::Runnable* server) { return probe(static_cast<Server*>(server)); }};
}

Kind const& find(std::uint16_t number) {
    using namespace services;
    static std::array<Kind, 14> const kinds{
        kind<authentictimelastclientpackage::methods::Server>(0xB047),
        kind<authentictimelastfailedbackendrequest::methods::Server>(0x15FE),
        kind<authentictimelastvalidbackendrequest::methods::Server>(0x15FD),
        kind<functionondemandversioninfo::methods::Server>(0x017D),
        kind<functionondemandproductlist::methods::Server>(0x488C),
        kind<functionondemandproducttofsidassociation::methods::Server>(0x488B),
        kind<fodsomeipdatabusservicenotavailable::methods::Server>(0x117C),
        kind<fodsomeipdatabusserviceimplausible::methods::Server>(0x117E),
        kind<fodsomeipdatabusserviceerrorvaluereceived::methods::Server>(0x117D),
        kind<fodmanagerextendedstate1::methods::Server>(0x0235),
        kind<fodmanagerextendedstate2::methods::Server>(0x0234),
        kind<historymemorysynchronization::methods::Server>(0x54DC),
        kind<metadatashadowcopy::methods::Server>(0x54DE),
        kind<parameterlist::methods::Server>(0x54DF)};
    for (Kind const& one : kinds) {
        if (one.number == number) return one;
    }
    throw std::out_of_range("no such data identifier");
}

}  // namespace

std::unique_ptr<Probe> makeProbe(std::uint16_t number, services::Runnable* server) {
    return find(number).makeProbe(server);
}

std::unique_ptr<services::Runnable> makeServer(std::uint16_t number) {
    return find(number).create();
}

}  // namespace did_test
