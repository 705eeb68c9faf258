// Host module configuration of one sensor module, and the parser of the module list.
#ifndef PLATFORM_MODULECONFIGURE_H
#define PLATFORM_MODULECONFIGURE_H

#include <string>
#include <vector>

class ModuleConfigure {
public:
    ModuleConfigure() : m_nModuleId(0) {}

    int getModuleId() const { return m_nModuleId; }
    std::string getParameters() const { return m_strParameters; }
    std::string getDetail() const { return m_strDetail; }

    void setModuleId(int p_nId) { m_nModuleId = p_nId; }
    void setParameters(const std::string& p_str) { m_strParameters = p_str; }
    void setDetail(const std::string& p_str) { m_strDetail = p_str; }

private:
    int m_nModuleId;
    std::string m_strParameters;
    std::string m_strDetail;
};

class ModuleConfigureParser {
public:
    // Appends to p_vecList the configurations of the list file that apply to
    // the given hardware model and code; false when the file cannot be read.
    static bool parse(const char* p_szPath, const std::string& p_strHardwareModel,
                      const std::string& p_strHardwareCode, std::vector<ModuleConfigure>& p_vecList);
};

#endif
