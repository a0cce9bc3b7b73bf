package zvif.vehicle.services.val.testing;

import java.io.DataInputStream;
import java.io.IOException;
import java.net.InetSocketAddress;
import java.net.Socket;
import java.net.SocketTimeoutException;
import java.nio.ByteBuffer;
import java.util.Optional;

/** A diagnostic tester in its smallest form: calls services over one SOME/IP connection on TCP. */
public final class SomeIpClient implements AutoCloseable {
    private static final int PORT = 30509;
    private static final int HEADER_SIZE = 16;
    private static final int METHOD_READ = 2;
    private static final int CLIENT = 0x7E57;
    private static final byte PROTOCOL_VERSION = 1;
    private static final byte INTERFACE_VERSION = 2;
    private static final int NO_META = 0; // the length of an empty map: the request's whole payload

    private final Socket m_socket = new Socket();
    private short m_session;

    /**
     * What came back for a request.
     *
     * @param returnCode 0, or the code of an error
     * @param payload the serialised output
     */
    public record Reply(int returnCode, byte[] payload) { }

    public SomeIpClient(String address) throws IOException {
        m_socket.connect(new InetSocketAddress(address, PORT), 5000);
    }

    /** Connects to the services of this process. */
    public static SomeIpClient toThisProcess() throws IOException {
        return new SomeIpClient(Addresses.OWN);
    }

    public void request(int identifier) throws IOException {
        request(identifier, METHOD_READ);
    }

    /** Calls any method of a service, with an empty map. */
    public void request(int service, int method) throws IOException {
        var frame = ByteBuffer.allocate(HEADER_SIZE + 4);
        frame.putShort((short) service).putShort((short) method).putInt(HEADER_SIZE - 8 + 4);
        frame.putShort((short) CLIENT).putShort(++m_session);
        frame.put(PROTOCOL_VERSION).put(INTERFACE_VERSION).put((byte) 0).put((byte) 0).putInt(NO_META);
        m_socket.getOutputStream().write(frame.array());
    }

    /** The reply for the last request; empty when none came in time. */
    public Optional<Reply> reply(int milliseconds) throws IOException {
        m_socket.setSoTimeout(milliseconds);
        try {
            var input = new DataInputStream(m_socket.getInputStream());
            while (true) {
                var header = ByteBuffer.wrap(input.readNBytes(HEADER_SIZE));
                if (header.remaining() < HEADER_SIZE) {
                    throw new IOException("the connection was closed");
                }
                var payload = input.readNBytes(header.getInt(4) - 8);
                if (header.getShort(10) == m_session) {
                    return Optional.of(new Reply(header.get(15) & 0xFF, payload));
                }
            }
        } catch (SocketTimeoutException nothing) {
            return Optional.empty();
        }
    }

    /** Reads as a tester does: a request that comes on the heels of a reply may be lost, so it asks again. */
    public Reply read(int identifier) throws IOException {
        for (var attempt = 0; attempt < 20; ++attempt) {
            request(identifier);
            var reply = reply(250);
            if (reply.isPresent()) {
                return reply.get();
            }
        }
        throw new IOException("no answer for 0x%04X".formatted(identifier));
    }

    @Override
    public void close() throws IOException {
        m_socket.close();
    }
}
