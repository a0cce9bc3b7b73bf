#pragma once

#include <optional>
#include <vector>

#include "tests/support/FakeJni.h"

extern "C" {
jint Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register(JNIEnv*, jobject, jobject, jint);
jint Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_unregister(JNIEnv*, jobject);
jint Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_write(JNIEnv*, jobject, jint, jint,
                                                                         jbyteArray);
}

namespace fake {

/// The Java service's end of the bridge: calls the three exported functions as a JVM would, from any thread.
class Connector {
public:
    explicit Connector(Jvm& jvm) : m_jvm(jvm) {}

    int registerListener(int logLevel = 5) { return registerListener(m_jvm.listener(), logLevel); }
    int registerListener(jobject listener, int logLevel) {
        return Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_register(m_jvm.env(), nullptr,
                                                                                      listener, logLevel);
    }

    int unregister() {
        return Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_unregister(m_jvm.env(), nullptr);
    }

    /// Writes an array; `length` where it is to differ from the array's.
    int write(int msgId, std::vector<unsigned char> const& bytes, std::optional<int> length = std::nullopt) {
        jbyteArray const array = m_jvm.newArray(bytes);
        int const result = write(msgId, length.value_or(static_cast<int>(bytes.size())), array);
        m_jvm.drop(array);
        return result;
    }
    int write(int msgId, int length, jbyteArray array) {
        return Java_zvif_vehicle_services_val_diagara_ConnectorNativeDiagARA_write(m_jvm.env(), nullptr,
                                                                                   msgId, length, array);
    }

private:
    Jvm& m_jvm;
};

}  // namespace fake
