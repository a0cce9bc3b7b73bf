// What becomes of an answer whose time has come: the two ways in which the servers decode it.
#pragma once

#include <exception>
#include <future>
#include <utility>

#include <ac/dm/types/UDSResponseCodeType.h>

#include "servers/did/BaseMethodServer.h"
#include "servers/did/Response.h"
#include "servers/did/Row.h"
#include "servers/did/Skeleton_impl.h"

namespace zvg::val::diag_ara::services {

/// A server and the row that it decodes by.
template <class Server, class Skeleton, class Read>
class RowServer
    : public BaseMethodServer<Server, ::Skeleton_impl<Skeleton, Server, typename Read::Output, void>,
                              typename Read::Output, void> {
protected:
    explicit RowServer(Row const& row)
        : BaseMethodServer<Server, ::Skeleton_impl<Skeleton, Server, typename Read::Output, void>,
                           typename Read::Output, void>(row.requestId, row.serviceName),
          m_row(row) {}

    /// Decodes with `decode`, which completes the promise that it is given. If a Cancel has completed it in
    /// the meantime, that result stands, and the response ends here.
    template <class Decode>
    eValStatus answerWith(Decode const& decode) {
        Response response(m_row, this->logPrefix());
        auto const promise = this->promise();
        try {
            return decode(response, *promise);
        } catch (std::future_error const& error) {
            this->out(level::ERROR, TRACE_IN(Response::DECODER),
                      "std::future exception thrown: ", error.what(),
                      " corresponding requestId: ", response.requestId());
            return eValException;
        }
    }

private:
    Row const m_row;
};

/// The servers that end a read whatever the answer was: with a value, or with the reason why there is none
/// (a bare response code, which the binding does not reply with: that client waits in vain).
template <class Server, class Skeleton, class Read>
class FullShape : public RowServer<Server, Skeleton, Read> {
protected:
    using RowServer<Server, Skeleton, Read>::RowServer;
    using Code = ac::dm::types::UDSResponseCodeType;
    using Promise = eb::com::Promise<typename Read::Output>;

    eValStatus unpackDiagnosticsresponse(unsigned short length, unsigned char* data) override {
        return this->answerWith([length, data](Response& response, Promise& promise) {
            try {
                if (response.unpack(length, data) != eUnpackOk) {
                    return fail(promise, Code::kFailurePreventsExecutionOfRequestedAction, eValBadMessage);
                }
                response.trace();
                if (!response.accepted())
                    return fail(promise, Code::kIncorrectMessageLengthOrInvalidFormat, eValRefused);
                typename Read::Output output{};
                response.copyTo(output.fields());
                promise.set_value(std::move(output));
                return eValOk;
            } catch (std::future_error const&) {
                throw;
            } catch (std::exception const&) {
                return fail(promise, Code::kUnspecified, eValException);
            }
        });
    }

private:
    static eValStatus fail(Promise& promise, Code code, eValStatus status) {
        promise.set_exception(std::make_exception_ptr(code));
        return status;
    }
};

/// The servers whose whole data is one list. An answer that can't be used leaves the read open until the
/// next one replaces it. Exceptions pass on to the caller, apart from that of a promise that is complete.
template <class Server, class Skeleton, class Read>
class ShortShape : public RowServer<Server, Skeleton, Read> {
protected:
    using RowServer<Server, Skeleton, Read>::RowServer;
    using Promise = eb::com::Promise<typename Read::Output>;

    eValStatus unpackDiagnosticsresponse(unsigned short length, unsigned char* data) override {
        return this->answerWith([length, data](Response& response, Promise& promise) {
            if (response.unpack(length, data) != eUnpackOk) return eValBadMessage;
            response.trace();
            if (!response.accepted()) return eValRefused;
            typename Read::Output output{};
            response.copyTo(output.fields());
            promise.set_value(std::move(output));
            return eValOk;
        });
    }
};

}  // namespace zvg::val::diag_ara::services
