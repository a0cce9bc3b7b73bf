#include "codec/codec.h"
#include "codec/oracle/Expected.h"

namespace oracle::expected {

const Record& codingTable() {
    // Every set's name is tCoding and the field's name.
#define CODED(field, ...)                                           \
    [] {                                                            \
        static const EnumSet set{"tCoding" #field, 8, __VA_ARGS__}; \
        return enumField(MEMBER(tDiagCoding, field), set);          \
    }()
    static const Record table{"tDiagCoding",
                              sizeof(tDiagCoding),
                              {
                                  CODED(Brand, {{0, 11}, {255, 255}}),
                                  CODED(Car_Class, {{0, 9}, {15, 15}}),
                                  unsignedField(MEMBER(tDiagCoding, Car_Class_Value), 1),
                                  CODED(Car_Derivate, {{0, 9}}),
                                  CODED(Car_Derivate_Supplement, {{0, 9}}),
                                  CODED(Country, {{0, 8}}),
                                  CODED(Audioparameter_Sets, {{0, 6}}),
                                  CODED(Gateway_Variant, {{0, 1}}),
                                  CODED(Mute_Line, {{0, 1}}),
                                  CODED(Microphone_state_1, {{0, 1}}),
                                  CODED(Microphone_state_2, {{0, 1}}),
                                  CODED(Microphone_output_2, {{0, 1}}),
                                  CODED(Audio_Line, {{0, 1}}),
                                  CODED(Microphone_Type, {{0, 1}}),
                                  CODED(Aerial_Diagnosis_GSM_UMTS_LTE_Main, {{0, 1}}),
                                  CODED(Aerial_Diagnosis_GSM_UMTS_LTE_Backup, {{0, 1}}),
                                  CODED(Aerial_Diagnosis_GPS, {{0, 1}}),
                                  CODED(Navigation_Type, {{0, 3}}),
                                  CODED(BAP_RSI, {{0, 1}}),
                                  CODED(Electric_Window_Lift, {{0, 2}}),
                                  CODED(Trunk_Lid_Control_Unit, {{0, 1}}),
                                  CODED(Sliding_Sunroof_Control_Unit, {{0, 1}}),
                                  CODED(Convertible_Roof_Control_Unit, {{0, 1}}),
                                  CODED(Electric_Drive, {{0, 1}}),
                                  CODED(Steering_Angle_Sender, {{0, 1}}),
                                  CODED(ACC, {{0, 1}}),
                                  CODED(Gyro_Sensor_Data, {{0, 1}}),
                                  CODED(Search_Illumination, {{0, 1}}),
                                  CODED(Area_View, {{0, 1}}),
                                  CODED(Trigger_Airbag_Signal, {{0, 2}}),
                                  CODED(Ethernet_Diagnosis, {{0, 1}}),
                                  CODED(Ethernet_Diagnosis2_placeholder, {{0, 1}}),
                                  CODED(Immobilizer_type, {{0, 1}}),
                                  CODED(Powertrain, {{0, 2}}),
                                  CODED(Emergency_Call_Backup_Loudspeaker, {{0, 1}}),
                                  CODED(Backup_Battery, {{0, 1}}),
                                  CODED(External_HMI, {{0, 1}}),
                                  CODED(Antenna_Priority_1, {{0, 2}}),
                                  CODED(Antenna_Priority_2, {{0, 2}}),
                                  CODED(Antenna_Priority_3, {{0, 2}}),
                                  CODED(LCNS_Configured, {{0, 1}}),
                                  CODED(WLAN_MODULE_Functionality, {{0, 1}}),
                                  CODED(Platform, {{0, 4}}),
                                  CODED(Information_Call, {{0, 1}}),
                                  CODED(Roadside_Assistance_Maintenance_Scheduling, {{0, 3}}),
                                  CODED(Emergency_Call_Category, {{0, 1}}),
                                  CODED(Data_Driver_Assistance_System_Data_Report, {{0, 1}}),
                                  CODED(Parking_Assistance, {{0, 1}}),
                                  CODED(Rear_Radar, {{0, 1}}),
                                  CODED(Rain_Light_Sensor, {{0, 1}}),
                                  CODED(Transmission_Type, {{0, 1}}),
                                  CODED(Predictive_Route_Data, {{0, 1}}),
                                  CODED(Microphone_Output_Type, {{0, 1}}),
                                  CODED(Personalization_Version, {{0, 2}, {15, 15}}),
                                  CODED(Active_Participant_Ergonomics_In_Vehicle, {{0, 1}}),
                                  CODED(Ignore_BAP_PSO2_Fatal_Communication_Error, {{0, 1}}),
                                  CODED(Ignore_BAP_Communication_Error_Outsourcing, {{0, 1}}),
                                  unsignedField(MEMBER(tDiagCoding, Coding_Tail_Value), 1),
                              }};
#undef CODED
    return table;
}

}  // namespace oracle::expected
