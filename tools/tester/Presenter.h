// The three forms that the results of calls are told in.
#pragma once

#include <memory>
#include <vector>

#include "tools/tester/Report.h"
#include "tools/tester/Session.h"

namespace tester {

/// Is shown each report as soon as it is there. Made for one run of a subcommand.
class Presenter {
public:
    virtual ~Presenter() = default;
    virtual void begin() {}
    virtual void show(Report const& report) = 0;
    virtual void end(ExitCode) {}
};

using Selection = std::vector<Target const*>;

/// A row for each target. `done` is the end of the last line: "14/14 data identifiers read".
std::unique_ptr<Presenter> tablePresenter(Session& session, Selection const& selection, std::string done);
/// Everything about one reply: the whole payload as a hex dump, then each field.
std::unique_ptr<Presenter> detailPresenter(Session& session);
/// One document at the end.
std::unique_ptr<Presenter> jsonPresenter(Session& session, std::string command);
/// One line of hex digits for each target, empty without a reply or for an error code; whatever
/// failed is told on the error stream.
std::unique_ptr<Presenter> rawPresenter(Session& session);

}  // namespace tester
