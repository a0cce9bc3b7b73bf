#include "tools/tester/data_service/DataService.h"

#include <stdexcept>
#include <utility>

#include "binding/generated/DiagnosticDataDistribution.h"
#include "binding/payload/Deserializer.h"
#include "binding/payload/Serializer.h"
#include "binding/skeleton/Method_processors.h"
#include "binding/task/Shared_pool.h"
#include "tools/tester/Text.h"

namespace tester {

namespace {

namespace skeleton = ac::com::cpp_binding::skeleton;
namespace serialization = ac::com::someip::serialization;
using zvg::services::diagnosticdatadistribution::DiagnosticDataDistribution;
namespace datatypes = zvg::services::diagnosticdatadistribution::datatypes;
using Hash_field = DiagnosticDataDistribution::dataValuesHash;
using std::chrono::steady_clock;

constexpr char INSTANCE_NAME[] = "1";

/// Result code of this service for a record that it doesn't have.
constexpr std::uint32_t UNKNOWN_RECORD = 1;
/// SOME/IP return code for a request that can't be read.
constexpr unsigned char E_MALFORMED_MESSAGE = 9;

/// What both methods ask for: a name space and records. `getDiagnosticData` names one without a list.
struct Request {
    std::uint32_t nameSpace = 0;
    datatypes::DT_ListOfIds ids;
};

Request read(std::vector<unsigned char> const& bytes) {
    ac::com::Read_buffer buffer(bytes);
    Request request;
    serialization::deserialize_dispatch(request.nameSpace, buffer, {});
    serialization::deserialize_dispatch(request.ids, buffer, {});
    return request;
}

std::vector<unsigned char> resultOf(DataRecord const& record) {
    datatypes::DT_DiagnosticValuesResultType result{};
    result.diagnosticData = record.bytes;
    result.resultCode = static_cast<decltype(result.resultCode)>(record.resultCode);
    return serialization::to_bytes(result);
}

eb::com::runtime::Serialized_payload shared(std::vector<unsigned char> bytes) {
    return eb::com::runtime::Serialized_payload(
        std::make_shared<std::vector<unsigned char> const>(std::move(bytes)));
}

}  // namespace

DataService::DataService(DataValues values, std::function<void(DataServiceEvent const&)> tell)
    : m_tell(std::move(tell)),
      m_values(std::move(values)),
      m_port({std::string(DiagnosticDataDistribution::NAME)}, {INSTANCE_NAME},
             {DiagnosticDataDistribution::DESCRIPTION}),
      m_dispatcher(m_port,
                   skeleton::detail::make_method_processor(skeleton::detail::Processing_mode::parallel,
                                                           ac::com::cpp_binding::shared_pool())) {
    addMethods();
}

DataService::~DataService() {
    m_port.stop_offer();
    m_dispatcher.stop();
}

void DataService::addMethods() {
    using Call_id = skeleton::Method_call_id;
    using Serialized_payload = eb::com::runtime::Serialized_payload;
    m_dispatcher.add_method(Hash_field::Get::ID,
                            [this](Call_id, Reply const& answer, Serialized_payload const&) {
                                m_tell({"call", "dataValuesHash.Get"});
                                reply(answer, "dataValuesHash", {0, field()});
                            });
    m_dispatcher.add_method(DiagnosticDataDistribution::getDiagnosticData::ID,
                            [this](Call_id, Reply const& answer, Serialized_payload const& request) {
                                // One record behind the name space, without a list around it.
                                Payload listed = request.bytes();
                                if (listed.size() >= 4) listed.insert(listed.begin() + 4, {0, 0, 0, 4});
                                call(answer, listed);
                            });
    m_dispatcher.add_method(DiagnosticDataDistribution::getDiagnosticDataValues::ID,
                            [this](Call_id, Reply const& answer, Serialized_payload const& request) {
                                call(answer, request.bytes());
                            });
}

void DataService::start(std::vector<Fault> const& scenario) {
    m_dispatcher.start();
    announce();
    offer();
    for (Fault const& fault : scenario) later(fault.at, [this, fault] { play(fault); });
}

void DataService::call(Reply const& answer, Payload const& bytes) {
    Request request;
    try {
        request = read(bytes);
    } catch (std::exception const& error) {
        m_tell(
            {"error", "a request of " + counted(bytes.size(), "byte") + " can't be read: " + error.what()});
        return reply(answer, "unreadable request", {E_MALFORMED_MESSAGE, {}});
    }
    if (request.ids.size() != 1 || request.nameSpace != 0) {
        m_tell({"error", "a request for " + counted(request.ids.size(), "record") + " of name space " +
                             std::to_string(request.nameSpace) +
                             "; this service has one record of name space 0 a call"});
        return reply(answer, "refused request", {0, resultOf({{}, UNKNOWN_RECORD})});
    }
    std::uint32_t const record = request.ids.front();
    std::string const name = recordName(record);
    auto const fault = m_faults.ofRecord(record, steady_clock::now());
    m_tell({"call", name + (fault ? "   [" + fault->line + "]" : std::string())});
    if (fault && fault->kind == Fault::Kind::silent) {
        // Kept as long as a caller could wait, since a call that nobody holds any more may be ended.
        constexpr std::chrono::hours FOR_EVER{1};
        return later(FOR_EVER, [answer] {});
    }
    Answer const content = answerFor(record, fault);
    if (fault && fault->kind == Fault::Kind::slow)
        return later(fault->delay, [this, answer, name, content] { reply(answer, name, content); });
    reply(answer, name, content);
}

DataService::Answer DataService::answerFor(std::uint32_t record, std::optional<Fault> const& fault) {
    if (fault && fault->kind == Fault::Kind::code) return {static_cast<unsigned char>(fault->number), {}};
    if (fault && fault->kind == Fault::Kind::garbage) return {0, fault->bytes};
    if (fault && fault->kind == Fault::Kind::result) return {0, resultOf({{}, fault->number})};
    std::lock_guard const lock(m_mutex);
    DataRecord const* const known = m_values.find(record);
    return {0, resultOf(known ? *known : DataRecord{{}, UNKNOWN_RECORD})};
}

void DataService::reply(Reply const& reply, std::string const& record, Answer const& answer) {
    if (reply) reply(answer.code, shared(answer.payload));
    m_tell({"answer", record + ": code " + std::to_string(answer.code) + ", " +
                          (answer.payload.empty() ? std::string("no bytes") : hex(answer.payload, 32))});
}

void DataService::later(std::chrono::milliseconds delay, std::function<void()> task) {
    if (!m_agenda.at(steady_clock::now() + delay, std::move(task)))
        m_tell({"error", "too many answers are due already; this one is dropped"});
}

std::string DataService::command(std::string const& line) {
    if (line.starts_with("set ")) return set(line.substr(4));
    Fault const fault = parseFault(line);
    if (fault.at.count() != 0)
        later(fault.at, [this, fault] { play(fault); });
    else
        play(fault);
    return fault.line;
}

std::string DataService::set(std::string const& arguments) {
    std::size_t const blank = arguments.find(' ');
    if (blank == std::string::npos) throw std::invalid_argument("set needs a record and a value");
    std::uint32_t const record = parseRecordId(arguments.substr(0, blank));
    DataRecord value = parseDataRecord(arguments.substr(blank + 1));
    std::string done = recordName(record) + " = " + text(value);
    bool changed = false;
    {
        std::lock_guard const lock(m_mutex);
        changed = m_values.set(record, std::move(value));
    }
    if (!changed) return done + ", as before";
    m_tell({"set", done});
    announce();
    return done;
}

void DataService::replace(DataValues values) {
    {
        std::lock_guard const lock(m_mutex);
        if (m_values.records() == values.records()) return;
        m_values = std::move(values);
    }
    m_tell({"set", "all records, from the file"});
    announce();
}

void DataService::play(Fault const& fault) {
    bool const onService = fault.target == Fault::Target::service;
    if (!onService) m_faults.begin(fault, steady_clock::now());
    m_tell({"fault", fault.line});  // whoever hears of it finds it in force
    if (onService) playOnService(fault);
}

void DataService::playOnService(Fault const& fault) {
    try {
        if (fault.kind != Fault::Kind::back) withdraw();
        if (fault.kind != Fault::Kind::gone) return offer();
        if (fault.lasting)
            later(*fault.lasting, [this, back = parseFault("service back")] { playOnService(back); });
    } catch (std::exception const& error) {
        m_tell({"error", error.what()});
    }
}

void DataService::offer() {
    std::lock_guard const lock(m_offerMutex);
    if (m_offered) return;
    m_port.start_offer();
    m_offered = true;
    m_tell({"offer", std::string(DiagnosticDataDistribution::NAME)});
}

void DataService::withdraw() {
    std::lock_guard const lock(m_offerMutex);
    if (!m_offered) return;
    m_port.stop_offer();
    m_offered = false;
    m_tell({"withdraw", std::string(DiagnosticDataDistribution::NAME)});
}

void DataService::announce() {
    auto const fault = m_faults.ofNotification(steady_clock::now());
    Payload const content = field();
    if (!fault) return notify(content);
    switch (fault->kind) {
        case Fault::Kind::silent:
            return m_tell({"notify", "left out   [" + fault->line + "]"});
        case Fault::Kind::slow:
            return later(fault->delay, [this, content] { notify(content); });
        case Fault::Kind::garbage:
            return notify(fault->bytes);
        default:
            notify(content);
            notify(content);
    }
}

void DataService::notify(Payload const& content) {
    m_port.send_event(Hash_field::Notify::ID, shared(content));
    m_tell({"notify", "dataValuesHash = " + (content.empty() ? std::string("no bytes") : hex(content))});
}

DataService::Payload DataService::field() {
    datatypes::DT_dataValuesHash_struct adaptations;
    adaptations.name_space = 0;
    adaptations.category = 0;
    {
        std::lock_guard const lock(m_mutex);
        adaptations.hashValue = m_values.hash();
    }
    return serialization::to_bytes(Hash_field::Value{adaptations}, Hash_field::Notify::PROPERTIES);
}

}  // namespace tester
