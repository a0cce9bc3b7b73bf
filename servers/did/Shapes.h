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

    Row const m_row;
};

/// The servers that end a read whatever the answer was: with a value, or with the reason why there is none
/// (a bare response code, which the binding does not reply with: that client waits in vain).
template <class Server, class Skeleton, class Read>
class FullShape : public RowServer<Server, Skeleton, Read> {
protected:
    using RowServer<Server, Skeleton, Read>::RowServer;

private:
    using Code = ac::dm::types::UDSResponseCodeType;

    eValStatus unpackDiagnosticsresponse(unsigned short length, unsigned char* data) override {
        Response response(this->m_row, this->logPrefix());
        typename Read::Output output{};
        try {
            if (response.unpack(length, data) != eUnpackOk) {
                return fail(Code::kFailurePreventsExecutionOfRequestedAction, eValBadMessage);
            }
            response.trace();
            if (!response.accepted()) return fail(Code::kIncorrectMessageLengthOrInvalidFormat, eValRefused);
            response.copyTo(output.fields());
            this->promise()->set_value(std::move(output));
            return eValOk;
        } catch (std::future_error const& error) {
            this->out(level::ERROR, TRACE_HERE, "std::future exception thrown: ", error.what(),
                      " corresponding requestId: ", response.requestId());
            return eValException;
        } catch (std::exception const&) {
            return fail(Code::kUnspecified, eValException);
        }
    }

    eValStatus fail(Code code, eValStatus status) {
        this->promise()->set_exception(std::make_exception_ptr(code));
        return status;
    }
};

/// The servers whose whole data is one list. An answer that can't be used leaves the read open until the
/// next one replaces it, and an exception passes on to the caller.
template <class Server, class Skeleton, class Read>
class ShortShape : public RowServer<Server, Skeleton, Read> {
protected:
    using RowServer<Server, Skeleton, Read>::RowServer;

private:
    eValStatus unpackDiagnosticsresponse(unsigned short length, unsigned char* data) override {
        Response response(this->m_row, this->logPrefix());
        if (response.unpack(length, data) != eUnpackOk) return eValBadMessage;
        response.trace();
        if (!response.accepted()) return eValRefused;
        typename Read::Output output{};
        response.copyTo(output.fields());
        this->promise()->set_value(std::move(output));
        return eValOk;
    }
};

}  // namespace zvg::val::diag_ara::services
