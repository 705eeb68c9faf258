// Readers of the factory machine-information file and the sensor-module list, and the host's text splitter.
#include <stdlib.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <tinyxml.h>

#include "MachineInfo.h"
#include "ModuleConfigure.h"
#include "PLFile.h"
#include "StringHandler.h"
#include "hostsim.h"

namespace hostsim {
namespace detail {
bool openFaulted(const char* modulePath, int fault);
}  // namespace detail
}  // namespace hostsim

namespace {

std::string trim(const std::string& text)
{
    const char* blanks = " \t\r\n";
    std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    std::size_t last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

// Decimal, as atoi reads it; anything that is not a number in u32 range is 0.
u32 parseDeviceType(const std::string& text)
{
    const char* begin = text.c_str();
    char* end = NULL;
    long long value = strtoll(begin, &end, 10);
    if (end == begin || value < 0 || value > static_cast<long long>(UINT32_MAX)) return 0;
    return static_cast<u32>(value);
}

std::string childText(const TiXmlElement* element, const char* name)
{
    const TiXmlElement* child = element->FirstChildElement(name);
    const char* text = child != NULL ? child->GetText() : NULL;
    return text != NULL ? text : "";
}

// An attribute that is absent or empty applies to every board.
bool attributeMatches(const TiXmlElement* element, const char* name, const std::string& wanted)
{
    const char* value = element->Attribute(name);
    return value == NULL || *value == '\0' || wanted == value;
}

}  // namespace

// The factory file is our own INI: "key=value" lines; "[section]" headers and
// "#" or ";" comment lines are ignored, and so are unknown keys.
bool SystemInfoParser::parseMachineInfo(const char* p_szPath, MachineInfo& p_objInfo)
{
    PLFile objFile;
    if (p_szPath == NULL || !objFile.open(p_szPath, PLFile::modeRead)) return false;
    std::vector<std::string> vecLines = objFile.ReadLines();
    objFile.close();

    for (const std::string& strRaw : vecLines) {
        std::string strLine = trim(strRaw);
        if (strLine.empty() || strLine[0] == '#' || strLine[0] == ';' || strLine[0] == '[') continue;
        std::size_t nEq = strLine.find('=');
        if (nEq == std::string::npos) continue;
        std::string strKey = trim(strLine.substr(0, nEq));
        std::string strValue = trim(strLine.substr(nEq + 1));
        if (strKey == "deviceType") {
            p_objInfo.setDeviceType(parseDeviceType(strValue));
        } else if (strKey == "hardwareModel") {
            p_objInfo.setHardwareModel(strValue);
        } else if (strKey == "hardwareCode") {
            p_objInfo.setHardwareCode(strValue);
        } else if (strKey == "serialNumber") {
            p_objInfo.setSerialNumber(strValue);
        }
    }
    return true;
}

// <moduleConfig><module id=".." hardwareModel=".." hardwareCode=".."> with
// <parameters> and <detail> texts; every <module> that fits the board is taken,
// in document order.
bool ModuleConfigureParser::parse(const char* p_szPath, const std::string& p_strHardwareModel,
                                  const std::string& p_strHardwareCode, std::vector<ModuleConfigure>& p_vecList)
{
    if (p_szPath == NULL || hostsim::detail::openFaulted(p_szPath, hostsim::kFailRead)) return false;
    std::ifstream in(hostsim::mapPath(p_szPath), std::ios::binary);
    if (!in) return false;
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) return false;

    TiXmlDocument doc;
    doc.Parse(text.str().c_str());
    if (doc.Error()) return false;
    const TiXmlElement* root = doc.RootElement();
    if (root == NULL || root->ValueStr() != "moduleConfig") return true;

    for (const TiXmlElement* module = root->FirstChildElement("module"); module != NULL;
         module = module->NextSiblingElement("module")) {
        if (!attributeMatches(module, "hardwareModel", p_strHardwareModel) ||
            !attributeMatches(module, "hardwareCode", p_strHardwareCode)) {
            continue;
        }
        const char* id = module->Attribute("id");
        ModuleConfigure objConfig;
        objConfig.setModuleId(id != NULL ? atoi(id) : 0);
        objConfig.setParameters(childText(module, "parameters"));
        objConfig.setDetail(childText(module, "detail"));
        p_vecList.push_back(objConfig);
    }
    return true;
}

void StringHandler::split(const std::string& p_strText, std::vector<std::string>& p_vecOut, const std::string& p_strSep)
{
    if (p_strSep.empty()) {
        p_vecOut.push_back(p_strText);
        return;
    }
    std::size_t nPos = 0;
    for (;;) {
        std::size_t nNext = p_strText.find(p_strSep, nPos);
        if (nNext == std::string::npos) {
            p_vecOut.push_back(p_strText.substr(nPos));
            return;
        }
        p_vecOut.push_back(p_strText.substr(nPos, nNext - nPos));
        nPos = nNext + p_strSep.size();
    }
}
