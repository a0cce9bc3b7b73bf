#include "tools/tester/Report.h"

#include <algorithm>

#include "binding/generated/Uds_service_failed.h"
#include "tools/tester/Codes.h"

namespace tester {

namespace {

// The interfaces' own error carries its UDS code as payload. Its number is also SOME/IP's for an unknown
// service, which comes without a payload.
constexpr unsigned char UDS_SERVICE_FAILED = zvg::services::diag::Uds_error::ERROR;

std::string udsCode(unsigned char code) {
    return hexByte(code) + ' ' + negativeResponseName(code);
}

std::string meaning(Report const& report) {
    if (report.outcome == Outcome::serviceError) return "the interface's own error UDSServiceFailed";
    return returnCodeMeaning(report.exchange.returnCode);
}

std::string join(std::vector<std::string> const& texts, std::string const& separator) {
    std::string all;
    for (auto const& text : texts) all += (all.empty() ? "" : separator) + text;
    return all;
}

/// What was tried: "attempt 1: no answer within 2000 ms; attempt 2, 250 ms later: ...".
std::string failedAttempts(Exchange const& exchange, Patience const& patience) {
    std::vector<std::string> texts;
    for (auto const& failure : exchange.failures) {
        std::string const later = ", " + std::to_string(patience.retryPause.count()) + " ms later";
        texts.push_back("attempt " + std::to_string(texts.size() + 1) + (texts.empty() ? "" : later) + ": " +
                        failure);
    }
    return join(texts, "; ");
}

std::string whyUnanswered(Report const& report, Patience const& patience) {
    Exchange const& exchange = report.exchange;
    return failedAttempts(exchange, patience) + " (" + exchange.endpoint + ", service " +
           report.target->service + ')';
}

/// The byte that the routines' services give for a status of 2 with a result of 0, and whenever they have no
/// outcome at all.
constexpr unsigned char ANY_FAILURE = 0x20;

void judgeAnswer(Report& report, Reply reply) {
    Exchange const& exchange = report.exchange;
    auto const& payload = exchange.payload;
    if (exchange.returnCode == UDS_SERVICE_FAILED && !payload.empty()) {
        report.outcome = Outcome::serviceError;
        report.detail = "UDSServiceFailed with UDS code " + udsCode(payload[0]);
    } else if (exchange.returnCode != 0) {
        report.outcome = Outcome::returnCode;
        report.detail =
            "return code " + hexByte(exchange.returnCode) + ' ' + returnCodeMeaning(exchange.returnCode);
    } else if (reply == Reply::output) {
        report.decoded = report.target->decode(payload);
        report.detail = report.decoded.problem;
    } else if (!payload.empty()) {
        report.detail = "an empty payload expected, received " + counted(payload.size(), "byte");
    }
    if (exchange.returnCode == 0 && !report.detail.empty()) report.outcome = Outcome::undecodable;
    if (report.outcome == Outcome::ok && routineOutcome(report) && payload[0] == ANY_FAILURE) {
        report.detail =
            "0x20 also stands for every failure: no answer from Java in time, too many requests at once, or "
            "an "
            "outcome that doesn't fit into the byte";
    }
}

}  // namespace

Report judge(Target const& target, Reply reply, Exchange exchange, Patience const& patience) {
    Report report{&target, std::move(exchange), Outcome::ok, {}, {}};
    report.outcome = report.exchange.outcome;
    if (report.outcome != Outcome::ok) {
        report.detail = whyUnanswered(report, patience);
        return report;
    }
    judgeAnswer(report, reply);
    if (!report.exchange.failures.empty()) {
        if (!report.detail.empty()) report.detail += "; ";
        report.detail += "answered at attempt " + std::to_string(report.exchange.attempts) + " (" +
                         failedAttempts(report.exchange, patience) + "; repeated after " +
                         std::to_string(patience.retryPause.count()) + " ms)";
    }
    return report;
}

Report notFound(Target const& target, std::string reason) {
    Report report{&target, {}, Outcome::notFound, {}, std::move(reason)};
    report.exchange.outcome = Outcome::notFound;
    return report;
}

std::vector<Bytes> entries(std::vector<Field> const& fields) {
    if (fields.size() < 2 || fields.back().kind != Field::Kind::bytes) return {};
    Field const& count = fields[fields.size() - 2];
    Bytes const bytes = fields.back().value;
    if (count.kind != Field::Kind::array || !countsEntries(count.value.size())) return {};
    std::size_t const number = count.number();
    if (number == 0 || bytes.empty() || bytes.size() % number != 0) return {};
    std::vector<Bytes> list;
    std::size_t const size = bytes.size() / number;
    for (std::size_t index = 0; index < number; ++index) list.push_back(bytes.subspan(index * size, size));
    return list;
}

std::string fieldText(Field const& field, std::size_t bytesAtMost) {
    if (field.kind == Field::Kind::number) return std::to_string(field.number());
    if (field.value.empty()) return "empty";
    if (auto const text = printable(field.value)) return '"' + *text + '"';
    bool const zeros =
        std::all_of(field.value.begin(), field.value.end(), [](auto byte) { return byte == 0; });
    if (zeros && field.value.size() >= 4) return std::to_string(field.value.size()) + " x 00";
    return hex(field.value, bytesAtMost);
}

std::string valueText(std::vector<Field> const& fields) {
    std::vector<std::string> texts;
    std::size_t const bytesAtMost = fields.size() == 1 ? 14 : 6;  // a single field has the line for itself
    for (auto const& field : fields) texts.push_back(fieldText(field, bytesAtMost));
    auto const list = entries(fields);
    if (!list.empty()) {
        texts.pop_back();
        texts.back() = std::to_string(list.size()) + (list.size() == 1 ? " entry of " : " entries of ") +
                       std::to_string(list.front().size()) + " B";
    }
    return join(texts, " | ");
}

std::string valueText(Report const& report) {
    auto const outcome = routineOutcome(report);
    if (!outcome) return valueText(report.decoded.fields);
    return "status " + std::to_string(outcome->status) + ", result " + std::to_string(outcome->result);
}

std::optional<RoutineOutcome> routineOutcome(Report const& report) {
    bool const isRoutine = report.target->kind == Target::Kind::routine;
    if (!isRoutine || report.decoded.fields.size() != 1) return std::nullopt;
    std::uint32_t const byte = report.decoded.fields[0].number();
    return RoutineOutcome{byte >> 4U, byte & 0x0FU};
}

nlohmann::ordered_json toJson(Report const& report) {
    using Json = nlohmann::ordered_json;
    Exchange const& exchange = report.exchange;
    bool const answered = exchange.outcome == Outcome::ok;
    Json fields = Json::array();
    auto const list = entries(report.decoded.fields);
    for (std::size_t index = 0; index < report.decoded.fields.size(); ++index) {
        Field const& field = report.decoded.fields[index];
        auto const text = printable(field.value);
        bool const isNumber = field.kind == Field::Kind::number;
        bool const isList = !list.empty() && index + 1 == report.decoded.fields.size();
        fields.push_back({{"position", index + 1},
                          {"type", field.type},
                          {"length", field.value.size()},
                          {"raw", hexPlain(field.value)},
                          {"number", isNumber ? Json(field.number()) : Json()},
                          {"text", text && !isNumber ? Json(*text) : Json()},
                          {"entries", isList ? Json(list.size()) : Json()}});
    }
    bool const udsError = report.outcome == Outcome::serviceError;
    auto const& target = *report.target;
    Json json{{"id", target.id},
              {"interface", target.interface},
              {"service", report.target->service},
              {"instance", target.instance},
              {"endpoint", exchange.endpoint.empty() ? Json() : Json(exchange.endpoint)},
              {"outcome", name(report.outcome)},
              {"return_code", answered ? Json(exchange.returnCode) : Json()},
              {"return_code_meaning", answered ? Json(meaning(report)) : Json()},
              {"uds_code", udsError ? Json(exchange.payload[0]) : Json()},
              {"uds_code_name", udsError ? Json(negativeResponseName(exchange.payload[0])) : Json()},
              {"length", answered ? Json(exchange.payload.size()) : Json()},
              {"raw", answered ? Json(hexPlain(exchange.payload)) : Json()},
              {"fields", std::move(fields)},
              {"ms", answered ? Json(std::stod(millisecondsText(exchange.elapsedMs))) : Json()},
              {"attempts", exchange.attempts},
              {"detail", report.detail.empty() ? Json() : Json(report.detail)}};
    if (target.kind == Target::Kind::routine) {
        auto const outcome = routineOutcome(report);
        json["status"] = outcome ? Json(outcome->status) : Json();
        json["result"] = outcome ? Json(outcome->result) : Json();
    }
    if (target.kind == Target::Kind::troubleCode) json["code"] = target.number;
    return json;
}

}  // namespace tester
