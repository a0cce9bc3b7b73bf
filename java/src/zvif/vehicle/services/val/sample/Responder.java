package zvif.vehicle.services.val.sample;

import java.time.Duration;
import java.util.Optional;
import java.util.Set;
import java.util.function.Consumer;
import java.util.function.Function;

import zvif.vehicle.services.val.IValMessageCallback;
import zvif.vehicle.services.val.records.MessageIds;
import zvif.vehicle.services.val.records.VALDiagnosticsResponse_t;
import zvif.vehicle.services.val.records.VALUInt16_t;

/**
 * Answers requests for the value of a data identifier (message 2349) with that value (message 2350).
 *
 * <p>Requests are answered one after another by the thread of a mailbox, which ends in {@link #close}: a request that
 * is still waiting then gets no answer.
 */
final class Responder implements IValMessageCallback, AutoCloseable {
    private final Function<DataIdentifier, Optional<byte[]>> m_values;
    private final Sender m_sender;
    private final Set<? extends Identifier> m_silent;
    private final Duration m_delay;
    private final Consumer<String> m_log;
    private final Mailbox m_mailbox;

    Responder(Function<DataIdentifier, Optional<byte[]>> values, Sender sender, Set<? extends Identifier> silent,
            Duration delay, Consumer<String> log) {
        m_values = values;
        m_sender = sender;
        m_silent = silent;
        m_delay = delay;
        m_log = log;
        m_mailbox = new Mailbox("VAL answers", this::answer, log);
    }

    @Override
    public void handleMsg(int messageId, byte[] payload) {
        m_mailbox.handleMsg(messageId, payload);
    }

    @Override
    public void close() {
        m_mailbox.close();
    }

    private void answer(int messageId, byte[] payload) throws InterruptedException {
        if (messageId != MessageIds.ValDiagnosticsrequestInd) {
            return;
        }
        var number = VALUInt16_t.decode(payload).value;
        var identifier = DataIdentifier.of(number);
        var value = identifier.flatMap(m_values);
        if (identifier.isPresent() && m_silent.contains(identifier.get())) {
            m_log.accept("%s is to stay silent; no answer".formatted(identifier.get()));
        } else if (value.isEmpty()) {
            m_log.accept("0x%04X has no value; no answer".formatted(number));
        } else {
            identifier.get().complaintAbout(value.get().length).ifPresent(m_log);
            Thread.sleep(m_delay.toMillis());
            send(number, value.get());
        }
    }

    private void send(int number, byte[] value) {
        var record = new VALDiagnosticsResponse_t();
        record.requestId = number;
        record.totalLength = value.length;
        record.length = value.length;
        record.data = value;
        if (!m_sender.send(MessageIds.ValDiagnosticsresponseInd, record.encode())) {
            m_log.accept("the bridge did not take the answer for 0x%04X".formatted(number));
        }
    }
}
