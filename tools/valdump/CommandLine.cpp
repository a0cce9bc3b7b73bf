#include "tools/valdump/CommandLine.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>

#include <CLI/CLI.hpp>

#include "tools/valdump/Json.h"
#include "tools/valdump/Log.h"
#include "tools/valdump/Table.h"

namespace valdump {

namespace {

constexpr char FOOTER[] = R"(
Examples:
  valdump 2350 7d0102000000020002001122             a payload: its text, then every field with offset and bytes
  valdump ValDiagnosticsrequestInd "0x7D, 0x01"     by name; blanks, commas, colons and 0x are welcome
  valdump 2350 --file response.hex                  or from the standard input
  valdump --log service.log                         every message in the lines of a log
  tail -f service.log | valdump --log               as they come
  valdump 2350 --file response.hex --json > response.json
  valdump --encode 2350 response.json               back to hex
  valdump --list | grep -i diag                     ids, names, records, sizes

Exit codes:
    0  all payloads are good
    1  the codec refuses a payload, or a log has one that it refuses
    2  nothing was tried: wrong arguments, text that is no hex, no such message, JSON that fits no record;
       or the output could not be written
)";

struct Options {
    std::vector<std::string> words;  // the message, then hex
    std::string file;
    bool isLog = false;
    bool isList = false;
    bool isJson = false;
    bool all = false;
    std::string encode;
};

void declare(CLI::App& app, Options& options) {
    app.add_option("message", options.words,
                   "Id or name of a message, then its payload in hex; with --log and --encode a file")
        ->type_name("[MESSAGE [HEX...]]");
    app.add_option("--file", options.file, "Read hex, a log or JSON from here; '-' is the standard input")
        ->type_name("FILE");
    auto* const log = app.add_flag("--log", options.isLog, "Find ids and hex in the lines of a log");
    auto* const encode =
        app.add_option("--encode", options.encode, "Make hex of a record's JSON")->type_name("MESSAGE");
    auto* const list = app.add_flag("--list", options.isList, "List all messages");
    auto* const json =
        app.add_flag("--json", options.isJson, "One JSON document; with --log one in each line");
    auto* const all = app.add_flag("--all", options.all, "Show long blocks and arrays whole");
    log->excludes(encode)->excludes(list);
    encode->excludes(list)->excludes(json)->excludes(all);
    list->excludes(all);
}

bool isSameButCapitals(std::string_view one, std::string_view other) {
    return std::ranges::equal(
        one, other, [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

/// Messages that the user may have meant: capitals are easily mistaken, a record has messages, a hexadecimal
/// id its 0x.
std::string likeliest(std::string const& name) {
    constexpr int MOST = 3;
    std::string text;
    int found = 0;
    Message const* const byHex = messageOf("0x" + name);
    for (Message const& each : codec::describe::messages()) {
        if (&each != byHex && !isSameButCapitals(each.name, name) && !isSameButCapitals(each.payload, name) &&
            !isSameButCapitals(each.record->name, name)) {
            continue;
        }
        if (++found > MOST) return text + " or others?";
        text +=
            (found == 1 ? "; did you mean " : ", ") + std::to_string(each.id) + ' ' + std::string(each.name);
    }
    return found == 0 ? text : text + '?';
}

Message const& messageNamed(std::string const& name) {
    if (auto const* message = messageOf(name)) return *message;
    throw BadInput("there is no message '" + name + "'" + likeliest(name) + "; valdump --list tells all");
}

/// The file that the user named, or the standard input.
class Input {
public:
    Input(std::string const& file, std::istream& in) : m_in(in) {
        if (file.empty() || file == "-") return;
        if (std::filesystem::is_directory(file)) throw BadInput("cannot read '" + file + "': it is a folder");
        m_file.open(file);
        if (!m_file) throw BadInput("cannot read '" + file + "'");
    }

    std::istream& stream() { return m_file.is_open() ? m_file : m_in; }

    std::string text() { return {std::istreambuf_iterator<char>(stream()), {}}; }

private:
    std::istream& m_in;
    std::ifstream m_file;
};

std::string fileOf(Options const& options) {
    if (options.words.empty()) return options.file;
    if (options.words.size() > 1 || !options.file.empty()) throw BadInput("one file is read at a time");
    return options.words.front();
}

std::string failureText(Failure const& failure) {
    return codeText(failure.code) + ": " + failure.text;
}

int list(Options const& options, Streams& streams) {
    if (!options.words.empty() || !options.file.empty()) throw BadInput("--list lists all messages");
    Json all = Json::array();
    std::size_t widest = 0;
    for (Message const& each : codec::describe::messages()) widest = std::max(widest, each.name.size());
    for (Message const& each : codec::describe::messages()) {
        Record const& record = *each.record;
        if (options.isJson) {
            all.push_back({{"id", each.id},
                           {"message", each.name},
                           {"payload", each.payload},
                           {"record", record.name},
                           {"least", record.smallestPayload},
                           {"most", record.largestPayload},
                           {"assumed", record.assumed},
                           {"assumed_names", record.assumedNames}});
            continue;
        }
        std::string size = std::to_string(record.smallestPayload);
        if (record.largestPayload != record.smallestPayload)
            size += ".." + std::to_string(record.largestPayload);
        streams.out << std::setw(5) << each.id << "  " << std::left << std::setw(static_cast<int>(widest))
                    << each.name << std::right << "  " << std::setw(10) << size << "  " << record.name
                    << (record.assumed        ? " (assumed)"
                        : record.assumedNames ? " (names ours)"
                                              : "")
                    << '\n';
    }
    if (options.isJson) streams.out << all.dump(2) << '\n';
    return ALL_GOOD;
}

int encodeOne(Options const& options, Streams& streams) {
    Message const& message = messageNamed(options.encode);
    Json const json = readJson(Input(fileOf(options), streams.in).text());
    streams.out << plainHex(encode(message, json)) << '\n';
    return ALL_GOOD;
}

int dumpOne(Options const& options, Streams& streams) {
    if (options.words.empty()) throw BadInput("name a message, such as 2350; see valdump --help");
    Message const& message = messageNamed(options.words.front());
    std::string hex;
    for (std::size_t i = 1; i < options.words.size(); ++i) hex += options.words[i] + '\n';
    if (!hex.empty() && !options.file.empty())
        throw BadInput("there is hex on the command line and a --file");
    std::vector<unsigned char> const bytes =
        parseHex(options.words.size() > 1 ? hex : Input(options.file, streams.in).text());
    Payload const payload = readPayload(message, bytes);
    if (options.isJson) {
        streams.out << toJson(message, bytes, payload).dump(2) << '\n';
    } else {
        printTable(streams.out, message, bytes, payload, options.all);
    }
    if (!payload.failure) return ALL_GOOD;
    streams.out.flush();
    streams.err << "valdump: " << message.id << ' ' << message.name << ": " << failureText(*payload.failure)
                << '\n';
    return REFUSED;
}

/// How the messages of a log ended.
struct Counts {
    std::size_t good = 0;
    std::size_t refused = 0;
    std::size_t cut = 0;
};

void dumpLogged(Logged const& logged, std::size_t number, Options const& options, std::ostream& out,
                Counts& counts) {
    if (logged.isCut) {
        ++counts.cut;
        if (!options.isJson)
            out << logged.message->id << ' ' << logged.message->name << ": the line leaves bytes out\n";
        return;
    }
    Payload const payload = readPayload(*logged.message, logged.bytes);
    ++(payload.failure ? counts.refused : counts.good);
    if (options.isJson) {
        Json json{{"line", number}};
        json.update(toJson(*logged.message, logged.bytes, payload));
        out << json.dump() << '\n';
        return;
    }
    printTable(out, *logged.message, logged.bytes, payload, options.all);
    if (payload.failure) out << failureText(*payload.failure) << '\n';
}

int dumpLog(Options const& options, Streams& streams) {
    Input input(fileOf(options), streams.in);
    Counts counts;
    std::string line;
    for (std::size_t number = 1; streams.out && std::getline(input.stream(), line); ++number) {
        auto const found = findMessages(line);
        if (found.empty()) continue;
        if (!options.isJson) streams.out << "== line " << number << ": " << line << '\n';
        for (Logged const& each : found) dumpLogged(each, number, options, streams.out, counts);
        streams.out.flush();  // a log may come from a service that runs
    }
    streams.err << "valdump: " << counts.good << " good, " << counts.refused << " refused, " << counts.cut
                << " not whole in the log\n";
    return counts.refused == 0 ? ALL_GOOD : REFUSED;
}

int act(Options const& options, Streams& streams) {
    if (options.isList) return list(options, streams);
    if (!options.encode.empty()) return encodeOne(options, streams);
    return options.isLog ? dumpLog(options, streams) : dumpOne(options, streams);
}

}  // namespace

int run(int argc, char const* const* argv, Streams streams) {
    Options options;
    CLI::App app("Takes VAL messages apart, and makes them from JSON", "valdump");
    app.set_version_flag("--version", "valdump " VALDUMP_VERSION);
    app.footer(FOOTER);
    declare(app, options);
    try {
        app.parse(argc, argv);
        int const code = act(options, streams);
        if (!streams.out.flush()) throw BadInput("cannot write the output");
        return code;
    } catch (CLI::ParseError const& error) {
        return app.exit(error, streams.out, streams.err) == 0 ? ALL_GOOD : USAGE;
    } catch (BadInput const& error) {
        streams.err << "valdump: " << error.what() << '\n';
        return USAGE;
    }
}

}  // namespace valdump
