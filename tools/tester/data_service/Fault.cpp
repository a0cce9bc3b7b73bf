#include "tools/tester/data_service/Fault.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

#include "tools/tester/data_service/DataValues.h"

namespace tester {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// The words of a line, taken one after another.
class Words {
public:
    explicit Words(std::string const& line) {
        std::istringstream stream(line);
        for (std::string word; stream >> word;) m_words.push_back(word);
    }

    bool empty() const { return m_words.empty(); }
    bool nextIs(std::string const& word) const { return !empty() && m_words.front() == word; }

    std::string take(std::string const& expected) {
        if (empty()) throw std::invalid_argument("the line ends where " + expected + " has to stand");
        std::string word = std::move(m_words.front());
        m_words.pop_front();
        return word;
    }
    bool takeIf(std::string const& word) {
        if (!nextIs(word)) return false;
        m_words.pop_front();
        return true;
    }

private:
    std::deque<std::string> m_words;
};

milliseconds takeTime(Words& words) {
    constexpr char RULE[] = "a time such as 3s, 2.9s or 2900ms, at most an hour";
    std::string const word = words.take(RULE);
    std::size_t used = 0;
    double value = -1;
    try {
        value = std::stod(word, &used);
    } catch (std::exception const&) {
        used = 0;
    }
    std::string const unit = word.substr(used);
    if (unit == "s" || unit.empty()) value *= 1000;
    constexpr double HOUR = 3'600'000;
    if (used == 0 || (unit != "s" && unit != "ms" && !unit.empty()) || !(value >= 0 && value <= HOUR))
        throw std::invalid_argument("'" + word + "' has to be " + RULE);
    return milliseconds(std::llround(value));
}

std::uint32_t takeNumber(Words& words, std::uint32_t least, std::uint32_t most) {
    std::string const rule = "a number from " + std::to_string(least) + " to " + std::to_string(most);
    std::string const word = words.take(rule);
    std::uint32_t number = 0;
    try {
        number = parseRecordId(word);
    } catch (std::invalid_argument const&) {
        throw std::invalid_argument("'" + word + "' has to be " + rule);
    }
    if (number < least || number > most) throw std::invalid_argument("'" + word + "' has to be " + rule);
    return number;
}

std::vector<unsigned char> takeBytes(Words& words) {
    if (words.takeIf("nothing")) return {};
    std::string digits = words.take("bytes in hex or 'nothing'");
    while (!words.empty() && !words.nextIs("for") && !words.nextIs("times")) digits += words.take("bytes");
    return parseDataRecord(digits).bytes;
}

struct Row {
    Fault::Kind kind;
    bool ofRecords;
    bool ofNotify;
    bool ofService;
};

std::map<std::string, Row> const& kinds() {
    using Kind = Fault::Kind;
    static std::map<std::string, Row> const rows = {
        {"slow", {Kind::slow, true, true, false}},        {"silent", {Kind::silent, true, true, false}},
        {"code", {Kind::code, true, false, false}},       {"result", {Kind::result, true, false, false}},
        {"garbage", {Kind::garbage, true, true, false}},  {"twice", {Kind::twice, false, true, false}},
        {"clear", {Kind::clear, true, true, false}},      {"gone", {Kind::gone, false, false, true}},
        {"restart", {Kind::restart, false, false, true}}, {"back", {Kind::back, false, false, true}},
    };
    return rows;
}

bool fits(Row const& row, Fault::Target target) {
    if (target == Fault::Target::notify) return row.ofNotify;
    return target == Fault::Target::service ? row.ofService : row.ofRecords;
}

Fault::Kind takeKind(Words& words, Fault::Target target) {
    std::string allowed;
    for (auto const& [name, row] : kinds())
        if (fits(row, target)) allowed += (allowed.empty() ? "" : ", ") + name;
    std::string const word = words.take("one of " + allowed);
    auto const found = kinds().find(word);
    if (found == kinds().end() || !fits(found->second, target))
        throw std::invalid_argument("'" + word + "' has to be one of " + allowed);
    return found->second.kind;
}

void takeTarget(Words& words, Fault& fault) {
    std::string const word = words.take("a record's number, all, notify or service");
    if (word == "all") {
        fault.target = Fault::Target::allRecords;
    } else if (word == "notify") {
        fault.target = Fault::Target::notify;
    } else if (word == "service") {
        fault.target = Fault::Target::service;
    } else {
        fault.target = Fault::Target::record;
        try {
            fault.record = parseRecordId(word);
        } catch (std::invalid_argument const&) {
            throw std::invalid_argument("'" + word + "' has to be a record's number, all, notify or service");
        }
    }
}

}  // namespace

Fault parseFault(std::string const& line) {
    Words words(line);
    Fault fault;
    fault.line = line;
    if (words.takeIf("at")) fault.at = takeTime(words);
    takeTarget(words, fault);
    fault.kind = takeKind(words, fault.target);
    if (fault.kind == Fault::Kind::slow) fault.delay = takeTime(words);
    if (fault.kind == Fault::Kind::code) fault.number = takeNumber(words, 1, 255);
    if (fault.kind == Fault::Kind::result) fault.number = takeNumber(words, 1, UINT32_MAX);
    if (fault.kind == Fault::Kind::garbage) fault.bytes = takeBytes(words);
    if (words.takeIf("for"))
        fault.lasting = takeTime(words);
    else if (words.takeIf("times"))
        fault.times = takeNumber(words, 1, 1'000'000);
    if (!words.empty())
        throw std::invalid_argument("'" + words.take("") +
                                    "' is too much; only 'for TIME' or 'times N' may follow");
    return fault;
}

std::vector<Fault> loadScenario(std::string const& path) {
    std::ifstream file(path);
    if (!file) throw std::invalid_argument(path + ": can't be read");
    std::vector<Fault> faults;
    std::string line;
    for (unsigned number = 1; std::getline(file, line); ++number) {
        std::string const content = line.substr(0, line.find('#'));
        if (content.find_first_not_of(" \t\r") == std::string::npos) continue;
        try {
            faults.push_back(parseFault(content));
        } catch (std::invalid_argument const& error) {
            throw std::invalid_argument(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return faults;
}

void Faults::begin(Fault const& fault, steady_clock::time_point now) {
    std::lock_guard const lock(m_mutex);
    if (fault.kind == Fault::Kind::clear && fault.target == Fault::Target::allRecords) {
        m_active.remove_if([](Active const& active) { return active.fault.target != Fault::Target::notify; });
        return;
    }
    remove(fault.target, fault.record);
    if (fault.kind == Fault::Kind::clear) return;
    auto const end = fault.lasting ? now + *fault.lasting : steady_clock::time_point::max();
    m_active.push_back({fault, end, fault.times});
}

void Faults::remove(Fault::Target target, std::uint32_t record) {
    m_active.remove_if(
        [&](Active const& active) { return active.fault.target == target && active.fault.record == record; });
}

std::optional<Fault> Faults::ofRecord(std::uint32_t record, steady_clock::time_point now) {
    std::lock_guard const lock(m_mutex);
    if (auto own = take(Fault::Target::record, record, now)) return own;
    return take(Fault::Target::allRecords, 0, now);
}

std::optional<Fault> Faults::ofNotification(steady_clock::time_point now) {
    std::lock_guard const lock(m_mutex);
    return take(Fault::Target::notify, 0, now);
}

std::optional<Fault> Faults::take(Fault::Target target, std::uint32_t record, steady_clock::time_point now) {
    m_active.remove_if([&](Active const& active) { return active.end <= now; });
    auto const found = std::find_if(m_active.begin(), m_active.end(), [&](Active const& active) {
        return active.fault.target == target && active.fault.record == record;
    });
    if (found == m_active.end()) return {};
    Fault fault = found->fault;
    if (found->left && --*found->left == 0) m_active.erase(found);
    return fault;
}

}  // namespace tester
