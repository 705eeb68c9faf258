// Host machine information (factory settings) and the device-type vocabulary.
#ifndef PLATFORM_MACHINEINFO_H
#define PLATFORM_MACHINEINFO_H

#include <string>

#include "PLTypes.h"

class DeviceType {
public:
    enum {
        IPCAMERA = 1,
        IPDOME = 4,
        LPR = 8,
        FACE_DETECT = 9,
        VEHICLE_DETECT = 11,
        THERMAL_DEVICE = 13,
        THERMAL_DOUBLE_SENSOR_DEVICE = 14,
        IPP = 15,
        FISHEYE = 16,
        HUMAN_TEMPERATURE = 17,
        AIMULTI_OBJECT_DETECT = 18,
        THERMAL_DOUBLE_SENSOR_DOME_DEVICE = 19,
        DOMECORE = 20,
        BINOCULAR_DEVICE = 22,
        THERMAL_IPDOME = 23,
        DOMECORE_THERMAL_DEVICE = 104,
    };

    DeviceType() : m_nId(0) {}
    void setDeviceTypeId(u32 p_nId) { m_nId = p_nId; }
    u32 getDeviceTypeId() const { return m_nId; }

private:
    u32 m_nId;
};

class MachineInfo {
public:
    MachineInfo() : m_nDeviceType(0) {}

    u32 getDeviceType() const { return m_nDeviceType; }
    const std::string& getHardwareModel() const { return m_strHardwareModel; }
    const std::string& getHardwareCode() const { return m_strHardwareCode; }
    const std::string& getSerialNumber() const { return m_strSerialNumber; }

    void setDeviceType(u32 p_nType) { m_nDeviceType = p_nType; }
    void setHardwareModel(const std::string& p_str) { m_strHardwareModel = p_str; }
    void setHardwareCode(const std::string& p_str) { m_strHardwareCode = p_str; }
    void setSerialNumber(const std::string& p_str) { m_strSerialNumber = p_str; }

private:
    u32 m_nDeviceType;
    std::string m_strHardwareModel;
    std::string m_strHardwareCode;
    std::string m_strSerialNumber;
};

class SystemInfoParser {
public:
    // Fills p_objInfo from the machine-information file; false when the file
    // cannot be read. Fields the file lacks keep their values.
    static bool parseMachineInfo(const char* p_szPath, MachineInfo& p_objInfo);
};

#endif
