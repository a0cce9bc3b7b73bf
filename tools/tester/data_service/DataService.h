#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <ac/com/cpp_binding/skeleton/Method_dispatcher.h>
#include <ac/com/cpp_binding/skeleton/Pport.h>

#include "tools/tester/data_service/Agenda.h"
#include "tools/tester/data_service/DataValues.h"
#include "tools/tester/data_service/Fault.h"

namespace tester {

/// One thing that the data service did or was asked for.
struct DataServiceEvent {
    std::string kind;  ///< "offer", "withdraw", "call", "answer", "notify", "set", "fault", "error"
    std::string text;
};

/// Plays the service DiagnosticDataDistribution, which keeps a vehicle's adaptation values: answers
/// getDiagnosticDataValues from its records, announces each change by its field dataValuesHash, and
/// misbehaves when told to. The runtime has to be up.
///
/// Owned by the command; any thread. Destruction withdraws the service and drops answers that are still due.
class DataService {
public:
    /// `tell` hears of everything, on any thread, several at a time.
    DataService(DataValues values, std::function<void(DataServiceEvent const&)> tell);
    ~DataService();
    DataService(DataService const&) = delete;
    DataService& operator=(DataService const&) = delete;

    /// Offers the service and begins the scenario. Throws ac::com::Invalid_argument_exception if the endpoint
    /// can't be bound.
    void start(std::vector<Fault> const& scenario);

    /// `set RECORD VALUE`, or a fault (Fault.h), as from the command line. Gives what was done; throws
    /// std::invalid_argument that tells what was wrong.
    std::string command(std::string const& line);

    /// Takes the records of a file that has changed, and announces that.
    void replace(DataValues values);

private:
    using Reply = ac::com::cpp_binding::skeleton::Reply_function;
    using Payload = std::vector<unsigned char>;
    struct Answer {
        unsigned char code = 0;
        Payload payload;
    };

    void addMethods();
    void call(Reply const& reply, Payload const& request);
    Answer answerFor(std::uint32_t record, std::optional<Fault> const& fault);
    void reply(Reply const& reply, std::string const& record, Answer const& answer);
    void later(std::chrono::milliseconds delay, std::function<void()> task);

    std::string set(std::string const& arguments);
    void play(Fault const& fault);
    void playOnService(Fault const& fault);
    void offer();
    void withdraw();
    void announce();
    void notify(Payload const& field);
    Payload field();

    std::function<void(DataServiceEvent const&)> const m_tell;
    std::mutex m_mutex;
    DataValues m_values;  // guarded by m_mutex
    Faults m_faults;
    std::mutex m_offerMutex;  // one offer or withdrawal at a time
    bool m_offered = false;   // guarded by m_offerMutex
    ac::com::cpp_binding::skeleton::Pport m_port;
    ac::com::cpp_binding::skeleton::Method_dispatcher m_dispatcher;
    Agenda m_agenda;  // ends first: its tasks use all of the above
};

}  // namespace tester
