// `wireshark`: teaches Wireshark and tshark the services of the deployment.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "tools/tester/Command.h"
#include "tools/tester/Text.h"
#include "tools/tester/wireshark/Profile.h"

namespace tester {

namespace {

constexpr char FOOTER[] = R"(
The profile and the dissector say what the deployment manifest says now: write them again when it changes.

Examples:
  tester wireshark                       for this user
  tester --manifest car.json wireshark
  tester wireshark /tmp/wire             for HOME=/tmp/wire tshark ...
)";

void write(std::filesystem::path const& path, std::string const& text) {
    std::error_code failure;
    std::filesystem::create_directories(path.parent_path(), failure);
    if (failure) {
        throw std::runtime_error(path.parent_path().string() + " can't be made: " + failure.message());
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) throw std::runtime_error(path.string() + " can't be written");
}

class WiresharkCommand final : public Command {
public:
    CLI::App* declare(CLI::App& app) override {
        CLI::App* const subcommand = app.add_subcommand(
            "wireshark", "Write a Wireshark profile and dissector that know the services and their fields");
        subcommand->footer(FOOTER);
        subcommand
            ->add_option("DIRECTORY", m_home,
                         "Home folder to write to: .config/wireshark/profiles/diag_ara and "
                         ".local/lib/wireshark/plugins/diag_ara.lua")
            ->default_str("$HOME");
        return subcommand;
    }

    ExitCode run(Session& session) override {
        if (session.options().format == Format::raw) {
            session.err() << "tester: wireshark has no raw form" << std::endl;
            return ExitCode::usage;
        }
        auto const deployed = session.deployed();
        auto const files = wireshark::files(deployed);
        std::filesystem::path const home = homeFolder();
        for (auto const& [path, text] : files) write(home / path, text);
        if (session.options().format == Format::json) {
            nlohmann::ordered_json paths = nlohmann::ordered_json::array();
            for (auto const& each : files) paths.push_back((home / each.first).string());
            nlohmann::ordered_json const document{{"command", "wireshark"},
                                                  {"exit_code", static_cast<int>(ExitCode::allGood)},
                                                  {"manifest", deployed.manifest},
                                                  {"profile", wireshark::PROFILE},
                                                  {"files", paths}};
            session.out() << document.dump(2) << std::endl;
        } else {
            session.out() << "profile    " << (home / wireshark::PROFILE_FOLDER).string() << '\n'
                          << "dissector  " << (home / wireshark::PLUGIN_FOLDER).string() << "/diag_ara.lua\n"
                          << "knows      " << counted(deployed.services.size(), "instance") << " of "
                          << deployed.manifest << '\n'
                          << "use        tshark -C " << wireshark::PROFILE << " -i lo -f 'not icmp'"
                          << std::endl;
        }
        return ExitCode::allGood;
    }

private:
    std::filesystem::path homeFolder() const {
        if (!m_home.empty()) return m_home;
        char const* const home = std::getenv("HOME");
        if (!home || !*home) throw std::runtime_error("HOME isn't set: name the folder to write to");
        return home;
    }

    std::string m_home;
};

}  // namespace

std::unique_ptr<Command> wiresharkCommand() {
    return std::make_unique<WiresharkCommand>();
}

}  // namespace tester
