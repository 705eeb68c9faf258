// The one exception type: thrown only by the host's SafePointer.
#ifndef PLATFORM_PLRUNTIMEERROR_H
#define PLATFORM_PLRUNTIMEERROR_H

#include <exception>
#include <string>

class PLRuntimeError : public std::exception {
public:
    explicit PLRuntimeError(const std::string& p_strText);
    explicit PLRuntimeError(const char*& p_szText);
    virtual ~PLRuntimeError() throw();
    virtual const char* what() const throw();

private:
    std::string m_strText;
};

#endif
