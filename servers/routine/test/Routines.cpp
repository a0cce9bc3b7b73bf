#include "servers/routine/test/Routines.h"

#include <algorithm>
#include <thread>

namespace routine_test {

namespace {

Routine make(char const* component, std::uint32_t id, std::string const& space, std::string const& name) {
    std::string word;
    for (char const c : name) word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return {component, id, "zvg::services::diag::" + space + "::RoutineService_" + name, word, name};
}

// VAL messages have their low byte first.
void append(Bytes& message, std::uint32_t value) {
    for (unsigned const shift : {0U, 8U, 16U, 24U})
        message.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t read(Bytes const& message, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i > 0; --i) value = value << 8U | message.at(at + i - 1);
    return value;
}

}  // namespace

std::uint8_t control(Method method) {
    switch (method) {
        case START:
            return 1;
        case STOP:
            return 2;
        case REQUEST_RESULTS:
            return 3;
        default:
            return 4;
    }
}

std::vector<Routine> const& routines() {
    static std::vector<Routine> const all{
        make("FSRP", 311, "r_0687", "RebuildParameters"),
        make("FSIP", 310, "r_0688", "InitializeParameters"),
        make("FSTPFATN", 309, "r_0689", "TransferParametersFromATN"),
        make("FSSPIATN", 308, "r_068a", "StoreParametersInATN"),
    };
    return all;
}

void PrintTo(Routine const& value, std::ostream* stream) {
    *stream << value.name;
}

Bytes response(Ids const& ids, std::uint8_t status, std::uint32_t result, Bytes const& data) {
    Bytes message;
    append(message, ids.routine);
    append(message, ids.transaction);
    append(message, static_cast<std::uint32_t>(data.size()));
    message.push_back(ids.control);
    message.push_back(status);
    append(message, result);
    message.insert(message.end(), data.begin(), data.end());
    return message;
}

std::string responseText(Ids const& ids, unsigned status, unsigned result) {
    return ".routineId = " + std::to_string(ids.routine) +
           ", .transactionId = " + std::to_string(ids.transaction) +
           ", .length = 0, .controlParameter = " + std::to_string(ids.control) +
           ", .routineStatus = " + std::to_string(status) + ", .routineResult = " + std::to_string(result) +
           ", .resultData = {}";
}

std::string handlerText(Ids const& ids) {
    return "routId: " + std::to_string(ids.routine) + ", trnsId: " + std::to_string(ids.transaction) +
           ", ctrlPar: " + std::to_string(ids.control);
}

bool eventually(std::function<bool()> const& condition) {
    auto const end = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

void Vehicle::SetUp() {
    jvm.onMessage([this](fake::Message const& message) {
        if (message.id != REQUEST) return;
        ASSERT_EQ(message.bytes.size(), 13U);
        EXPECT_EQ(read(message.bytes, 8), 0U) << "no data is ever sent";
        Ids const ids{read(message.bytes, 0), read(message.bytes, 4), message.bytes[12]};
        {
            std::lock_guard const lock(m_requestsMutex);
            m_requests.push_back(ids);
        }
        m_arrived.notify_all();
        if (onRequest) onRequest(ids);
    });
    server_test::Vehicle::SetUp();
}

void Vehicle::TearDown() {
    server_test::Vehicle::TearDown();
    jvm.onMessage({});
}

std::vector<Ids> Vehicle::requests() const {
    std::lock_guard const lock(m_requestsMutex);
    return m_requests;
}

Ids Vehicle::awaitRequest(std::size_t count) {
    std::unique_lock lock(m_requestsMutex);
    bool const come = m_arrived.wait_for(lock, PATIENCE, [&] { return m_requests.size() >= count; });
    EXPECT_TRUE(come) << m_requests.size() << " requests instead of " << count;
    return come ? m_requests.at(count - 1) : Ids{};
}

}  // namespace routine_test
