package zvif.vehicle.services.val.sample;

import zvif.vehicle.services.val.IValMessageCallback;
import zvif.vehicle.services.val.records.MessageIds;

/** The parts of this service, each with threads of its own; gives every message to the one that it is for. */
record Service(Responder responder, Routines routines, Platform platform)
        implements IValMessageCallback, AutoCloseable {
    @Override
    public void handleMsg(int messageId, byte[] payload) {
        switch (messageId) {
            case MessageIds.ValDiagnosticsrequestInd -> responder.handleMsg(messageId, payload);
            case MessageIds.DiagmgrJavaRoutineReq -> routines.handleMsg(messageId, payload);
            default -> platform.handleMsg(messageId, payload);
        }
    }

    /** Ends the threads. */
    @Override
    public void close() {
        responder.close();
        routines.close();
        platform.close();
    }
}
