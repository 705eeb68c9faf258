// The module's exception class, thrown only by the host's SafePointer.
#include "PLRuntimeError.h"

PLRuntimeError::PLRuntimeError(const std::string& p_strText) : m_strText(p_strText)
{
}

PLRuntimeError::PLRuntimeError(const char*& p_szText) : m_strText(std::string("") + (p_szText != 0 ? p_szText : ""))
{
}

PLRuntimeError::~PLRuntimeError() throw()
{
}

const char* PLRuntimeError::what() const throw()
{
    return m_strText.c_str();
}
