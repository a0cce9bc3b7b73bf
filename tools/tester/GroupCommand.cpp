#include "tools/tester/GroupCommand.h"

#include <CLI/CLI.hpp>

namespace tester {

CLI::App* GroupCommand::declare(CLI::App& app) {
    CLI::App* const group = app.add_subcommand(m_name, m_description);
    group->footer(m_footer);
    group->require_subcommand(1);
    for (auto const& member : m_members) {
        m_declared.push_back(member->declare(*group));
        m_declared.back()->fallthrough();
    }
    return group;
}

Command& GroupCommand::chosen() const {
    std::size_t index = 0;
    while (index + 1 < m_declared.size() && !m_declared[index]->parsed()) ++index;
    return *m_members[index];
}

}  // namespace tester
