// `doip`: a DoIP gateway in front of the vehicle's services, for UDS testers of any make.
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <system_error>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "tools/tester/Command.h"
#include "tools/tester/Journal.h"
#include "tools/tester/doip/Gateway.h"

namespace tester {

namespace doip {

namespace {

using Json = nlohmann::ordered_json;

constexpr char DOIP_FOOTER[] = R"(
Answers ISO 13400-2 by UDP and TCP, and ISO 14229-1 behind it: 0x10, 0x14, 0x19, 0x22, 0x31 and 0x3E. Data
identifiers are read, routines run and trouble codes watched as the other commands do. Runs until Ctrl-C, and
then tells what it counted and how fast it was; `kill -USR1` has it tell so at any time.

Examples:
  tester doip
  tester doip --bind 127.0.0.2 --port 13401 --quiet
  tester doip --json | jq --unbuffered 'select(.event == "response") | {raw, ms}'
)";

/// "02:00:00:00:10:01", with or without colons.
bool readId(std::string const& text, Entity::Id& id) {
    std::string digits;
    for (char const c : text) {
        if (c != ':') digits += c;
    }
    if (digits.size() != 2 * id.size()) return false;
    for (std::size_t at = 0; at < id.size(); ++at) {
        char const* const pair = digits.data() + 2 * at;
        auto const [end, error] = std::from_chars(pair, pair + 2, id[at], 16);
        if (error != std::errc() || end != pair + 2) return false;
    }
    return true;
}

std::string textOf(Entity::Id const& id) {
    std::string text;
    for (unsigned char const byte : id) text += (text.empty() ? "" : ":") + hexPlain(Bytes(&byte, 1));
    return text;
}

char const* wordOf(Happening::Kind kind) {
    switch (kind) {
        case Happening::Kind::connection:
            return "connection";
        case Happening::Kind::received:
            return "received";
        case Happening::Kind::sent:
            return "sent";
        case Happening::Kind::request:
            return "request";
        case Happening::Kind::response:
            return "response";
        case Happening::Kind::code:
            break;
    }
    return "trouble_code";
}

/// What to do about an address that can't be listened at.
char const* adviceOn(std::error_code const& error) {
    switch (error.value()) {
        case EADDRINUSE:
            return "; another gateway may run there: end it, or choose --bind or --port";
        case EADDRNOTAVAIL:
            return "; this machine has no such address: choose --bind";
        case EACCES:
            return "; ports below 1024 are the administrator's: choose --port";
        default:
            return "; choose --bind or --port";
    }
}

Json toJson(Times const& times) {
    auto const [least, median, p99, most] = times.summary();
    return {{"count", times.count()}, {"min", least}, {"median", median}, {"p99", p99}, {"max", most},
            {"late", times.late()}};
}

std::string textOf(Times const& times, milliseconds limit) {
    auto const [least, median, p99, most] = times.summary();
    return "min " + millisecondsText(least) + ", median " + millisecondsText(median) + ", p99 " +
           millisecondsText(p99) + ", max " + millisecondsText(most) + " ms, " +
           std::to_string(times.late()) + " of " + std::to_string(times.count()) + " over " +
           std::to_string(limit.count()) + " ms";
}

}  // namespace

class DoipCommand final : public Command {
public:
    CLI::App* declare(CLI::App& app) override {
        CLI::App* const doip =
            app.add_subcommand("doip", "Be a DoIP gateway, so that any UDS tester reaches the vehicle");
        doip->footer(DOIP_FOOTER);
        declareAddresses(*doip);
        declareTimes(*doip);
        doip->add_option("--sockets", m_settings.transport.sockets, "Testers that can be active at a time")
            ->type_name("N")
            ->check(CLI::Range(1, 255).description(""))
            ->capture_default_str();
        doip->add_flag("--any-session", m_settings.anySession,
                       "Start and stop routines in the default session as well");
        doip->add_flag("--no-announcement", m_silent,
                       "Don't announce the vehicle to the network that it listens at");
        doip->add_flag("--quiet", m_quiet, "Tell only where it listens, and what it counted");
        return doip;
    }

    ExitCode run(Session& session) override {
        if (session.options().format == Format::raw) {
            session.err() << "tester: doip has no raw form" << std::endl;
            return ExitCode::usage;
        }
        if (std::string const mistake = mistakeInAddresses(); !mistake.empty()) {
            session.err() << "tester: " << mistake << std::endl;
            return ExitCode::usage;
        }
        if (auto const broadcast = broadcastOf(m_settings.address); broadcast && !m_silent)
            m_settings.announceTo = asio::ip::udp::endpoint(*broadcast, PORT);
        Journal<Happening> journal;
        std::stop_source ending;
        std::stop_callback const interrupted(session.stop(), [&ending] { ending.request_stop(); });
        Tell const tell = [&journal, quiet = m_quiet](Happening happening) {
            if (!quiet) journal.add(std::move(happening));
        };
        Vehicle vehicle(session.services(), session.options().patience, session.options().pause,
                        ending.get_token(), [&tell](Sighting const& sighting) {
                            tell({Happening::Kind::code, sighting.code->id, sighting.bytes, sighting.word});
                        });
        for (auto const& problem : vehicle.problems()) session.err() << "tester: " << problem << std::endl;
        try {
            Gateway gateway(m_settings, vehicle, tell);
            show(session, std::chrono::system_clock::now(), listening(gateway.port()));
            while (!session.stop().stop_requested()) {
                showAll(session, journal);
                if (session.asked()) showStatistics(session, gateway.statistics());
            }
            ending.request_stop();
            Statistics const& statistics = gateway.stop();
            showAll(session, journal);
            showStatistics(session, statistics);
        } catch (std::system_error const& error) {
            session.err() << "tester: " << error.what() << adviceOn(error.code()) << std::endl;
            return ExitCode::usage;
        }
        return ExitCode::interrupted;
    }

private:
    void declareAddresses(CLI::App& app) {
        Entity& entity = m_settings.entity;
        app.add_option_function<std::string>(
               "--bind",
               [this](std::string const& text) { m_settings.address = asio::ip::make_address_v4(text); },
               "Address to listen at, by UDP and TCP")
            ->type_name("ADDRESS")
            ->check(CLI::Validator(CLI::ValidIPV4).description(""))
            ->default_str(m_settings.address.to_string());
        app.add_option("--port", m_settings.port, "Port of both; 0 for any that is free")
            ->type_name("PORT")
            ->capture_default_str();
        addAddress(app, "--logical-address", entity.address, "The gateway's logical address");
        addAddress(app, "--functional-address", entity.functional, "The address of all targets at once");
        app.add_option_function<std::vector<std::uint16_t>>(
               "--testers",
               [&entity](std::vector<std::uint16_t> const& range) {
                   entity.testersFrom = range[0];
                   entity.testersTo = range[1];
               },
               "First and last logical address that a tester may have")
            ->type_name("ADDRESS")
            ->expected(2)
            ->default_str("0x0E00 0x0EFF");
        app.add_option_function<std::string>(
               "--vin",
               [&entity](std::string const& vin) { std::copy(vin.begin(), vin.end(), entity.vin.begin()); },
               "17 characters")
            ->type_name("VIN")
            ->check(CLI::Validator(
                [](std::string const& vin) {
                    auto const good = [](unsigned char c) { return std::isalnum(c) != 0; };
                    return vin.size() == Entity::Vin().size() && std::all_of(vin.begin(), vin.end(), good)
                               ? std::string()
                               : "'" + vin + "': a VIN has 17 letters and digits";
                },
                ""))
            ->default_str(std::string(entity.vin.begin(), entity.vin.end()));
        addId(app, "--eid", entity.eid, "The entity, six bytes such as a MAC address");
        addId(app, "--gid", entity.gid, "Its group, six bytes");
    }

    void declareTimes(CLI::App& app) {
        constexpr int P2_MOST = 65'535;        // as the answer to 0x10 can tell them
        constexpr int P2_STAR_MOST = 655'350;  // in steps of 10 ms
        constexpr int HOUR = 3'600'000;
        UdsTiming& timing = m_settings.timing;
        Transport& transport = m_settings.transport;
        addTime(app, "--p2", timing.p2, 10, P2_MOST, "A response, or 0x78, comes within so long");
        addTime(app, "--p2-star", timing.p2Star, 100, P2_STAR_MOST, "The same behind a 0x78");
        addTime(app, "--s3", timing.s3, 10, HOUR,
                "Without a request for so long the default session returns");
        addTime(app, "--initial-inactivity", transport.initialInactivity, 10, HOUR,
                "A connection may stay so long without routing activation");
        addTime(app, "--general-inactivity", transport.generalInactivity, 10, HOUR,
                "An active connection may be silent for so long");
        addTime(app, "--alive-check", transport.aliveCheck, 10, HOUR,
                "A tester has so long to say it is alive");
        addTime(app, "--spacing", transport.spacing, 0, 1'000,
                "Between two frames to one tester: some take all that has come for one frame");
    }

    static void addAddress(CLI::App& app, char const* option, std::uint16_t& value, char const* description) {
        app.add_option(option, value, description)->type_name("ADDRESS")->default_str(hexNumber(value));
    }

    static void addId(CLI::App& app, char const* option, Entity::Id& id, char const* description) {
        app.add_option_function<std::string>(
               option, [&id](std::string const& text) { readId(text, id); }, description)
            ->type_name("ID")
            ->check(CLI::Validator(
                [](std::string const& text) {
                    Entity::Id unused;
                    return readId(text, unused) ? std::string()
                                                : "'" + text + "': six bytes are written 02:00:00:00:10:01";
                },
                ""))
            ->default_str(textOf(id));
    }

    static void addTime(CLI::App& app, char const* option, milliseconds& value, int least, int most,
                        char const* description) {
        app.add_option_function<int>(
               option, [&value](int number) { value = milliseconds(number); }, description)
            ->type_name("MS")
            ->check(CLI::Range(least, most).description(""))
            ->default_str(std::to_string(value.count()));
    }

    /// Empty if there is none.
    std::string mistakeInAddresses() const {
        Entity const& entity = m_settings.entity;
        if (entity.testersFrom > entity.testersTo) return "--testers: the first address is above the last";
        if (entity.functional == entity.address)
            return "--functional-address " + hexNumber(entity.functional) +
                   " is the gateway's own: choose another, or another --logical-address";
        for (auto const& [option, address] : {std::pair("--logical-address ", entity.address),
                                              std::pair("--functional-address ", entity.functional)}) {
            if (entity.isTester(address))
                return option + hexNumber(address) + " is one of the testers', " +
                       hexNumber(entity.testersFrom) + " to " + hexNumber(entity.testersTo) +
                       ": choose another, or other --testers";
        }
        return {};
    }

    Happening listening(std::uint16_t port) const {
        Entity const& entity = m_settings.entity;
        std::string const where = m_settings.address.to_string() + ':' + std::to_string(port);
        return {Happening::Kind::connection,
                where,
                {},
                "listening by udp and tcp, entity " + hexNumber(entity.address) + ", functional " +
                    hexNumber(entity.functional) + ", testers " + hexNumber(entity.testersFrom) + " to " +
                    hexNumber(entity.testersTo) + ", VIN " +
                    std::string(entity.vin.begin(), entity.vin.end())};
    }

    static void showAll(Session& session, Journal<Happening>& journal) {
        constexpr milliseconds LOOK_AROUND{500};
        for (auto const& entry : journal.take(LOOK_AROUND, session.stop())) {
            show(session, entry.time, entry.thing);
        }
        if (auto const dropped = journal.takeDropped(); dropped != 0)
            session.err() << "tester: " << dropped << " lines weren't shown" << std::endl;
    }

    static void show(Session& session, std::chrono::system_clock::time_point time, Happening const& what) {
        if (session.options().format == Format::json) return showJson(session, time, what);
        constexpr std::size_t SHOWN = 12;
        Bytes const front = Bytes(what.bytes).first(std::min(what.bytes.size(), SHOWN));
        std::string raw = what.bytes.empty() ? "--" : hex(front);
        if (what.length > SHOWN) raw += " ...";
        std::string line = padRight(wordOf(what.kind), 12) + "  " + padRight(what.peer, 21) + "  " +
                           padRight(raw, 3 * SHOWN + 3);
        Paint const paint = session.paint();
        bool const negative = what.kind == Happening::Kind::response && what.bytes[0] == 0x7F;
        std::string meaning = what.meaning;
        if (what.kind == Happening::Kind::response) {
            if (!negative && meaning.empty()) meaning = "positive";
            meaning += ", " + std::to_string(what.length) + " B in " +
                       millisecondsText(what.milliseconds.value_or(0)) + " ms";
            meaning = negative ? paint.red(meaning) : paint.green(meaning);
        }
        session.out() << clockText(time) << "  " << line << "  " << meaning << std::endl;
    }

    static void showJson(Session& session, std::chrono::system_clock::time_point time,
                         Happening const& what) {
        Json const line{{"time", clockText(time)},
                        {"event", wordOf(what.kind)},
                        {"peer", what.peer},
                        {"raw", what.bytes.empty() ? Json() : Json(hexPlain(what.bytes))},
                        {"length", what.length},
                        {"meaning", what.meaning},
                        {"ms", what.milliseconds ? Json(*what.milliseconds) : Json()}};
        session.out() << line.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
    }

    void showStatistics(Session& session, Statistics const& counted) const {
        if (session.options().format == Format::json) {
            Json const line{{"time", clockText(std::chrono::system_clock::now())},
                            {"event", "statistics"},
                            {"connections", counted.connections},
                            {"requests", counted.requests},
                            {"positive", counted.positive},
                            {"negative", counted.negative},
                            {"suppressed", counted.suppressed},
                            {"pending", counted.pending},
                            {"p2_ms", toJson(counted.p2)},
                            {"p2_star_ms", toJson(counted.p2Star)}};
            session.out() << line.dump() << std::endl;
            return;
        }
        session.out() << tester::counted(counted.connections, "connection") << ", "
                      << tester::counted(counted.requests, "request") << ": " << counted.positive
                      << " positive, " << counted.negative << " negative, " << counted.suppressed
                      << " suppressed, " << counted.pending << " times 0x78\n"
                      << "first response    " << textOf(counted.p2, m_settings.timing.p2) << '\n'
                      << "behind a 0x78     " << textOf(counted.p2Star, m_settings.timing.p2Star)
                      << std::endl;
    }

    GatewaySettings m_settings;
    bool m_quiet = false;
    bool m_silent = false;
};

}  // namespace doip

std::unique_ptr<Command> doipCommand() {
    return std::make_unique<doip::DoipCommand>();
}

}  // namespace tester
