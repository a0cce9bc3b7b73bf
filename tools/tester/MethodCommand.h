#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/tester/Command.h"
#include "tools/tester/Presenter.h"

namespace tester {

/// What one method of the targets of one catalogue is called and takes.
struct MethodWords {
    Catalogue const& (*catalogue)();
    unsigned short method;
    Reply reply;
    Patience patience;
    char const* name;         ///< "start"
    char const* fullName;     ///< "routine start"
    char const* argument;     ///< "ID"
    char const* description;  ///< of the subcommand
    char const* arguments;    ///< what names a target
    char const* done;         ///< "started"
};

/// Calls one method of some targets, one after another.
class MethodCommand : public Command {
public:
    explicit MethodCommand(MethodWords const& words) : m_words(words) {}

    CLI::App* declare(CLI::App& app) override;
    Patience patience() const override { return m_words.patience; }
    ExitCode run(Session& session) override;

protected:
    /// The request's bytes; none for the map of strings that most methods take, empty.
    virtual std::optional<std::vector<unsigned char>> request() const { return std::nullopt; }
    /// Whether the targets have to be named; without a name it is all of them.
    virtual bool mustBeNamed() const { return true; }

private:
    Selection select() const;
    std::unique_ptr<Presenter> makePresenter(Session& session, Selection const& selection) const;
    Report call(Session& session, Target const& target) const;

    MethodWords m_words;
    std::vector<std::string> m_arguments;
};

}  // namespace tester
