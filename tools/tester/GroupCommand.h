#pragma once

#include <string>
#include <vector>

#include "tools/tester/Command.h"

namespace tester {

/// A subcommand that has subcommands of its own: `routine start`. One of them has to be named.
class GroupCommand final : public Command {
public:
    using Members = std::vector<std::unique_ptr<Command>>;

    GroupCommand(std::string name, std::string description, std::string footer, Members members)
        : m_name(std::move(name)),
          m_description(std::move(description)),
          m_footer(std::move(footer)),
          m_members(std::move(members)) {}

    CLI::App* declare(CLI::App& app) override;
    Patience patience() const override { return chosen().patience(); }
    ExitCode run(Session& session) override { return chosen().run(session); }

private:
    Command& chosen() const;

    std::string m_name;
    std::string m_description;
    std::string m_footer;
    Members m_members;
    std::vector<CLI::App*> m_declared;  // as the members
};

}  // namespace tester
