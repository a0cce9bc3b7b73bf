#pragma once

namespace zvg::val {

/// How a send or the handling of a message ended. Every value but 0 counts as failure; nobody retries.
enum eValStatus : int {
    eValOk = 0,            ///< done, or suppressed as a duplicate
    eValError = 1,         ///< failed or dropped: the message didn't reach Java, or nobody waited for it
    eValNotReady = 2,      ///< the bridge isn't up or is stopping; also: the request changes nothing
    eValRefused = 3,       ///< the message doesn't match what was asked
    eValNotSupported = 4,  ///< the component doesn't handle this message id
    eValSendFailed = 5,    ///< the answer to the message couldn't be sent
    eValBadMessage = 7,    ///< the payload can't be unpacked
    eValServiceNotAvailable = 8,  ///< the platform's service isn't there
    eValException = 9,            ///< an exception was caught on the way
};

}  // namespace zvg::val
