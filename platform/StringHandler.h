// Host text helpers: splitting and conversion.
#ifndef PLATFORM_STRINGHANDLER_H
#define PLATFORM_STRINGHANDLER_H

#include <sstream>
#include <string>
#include <vector>

class StringHandler {
public:
    // Appends the pieces of p_strText between separators to p_vecOut, empty
    // pieces included; an empty text gives one empty piece.
    static void split(const std::string& p_strText, std::vector<std::string>& p_vecOut, const std::string& p_strSep);

    // Stream extraction: leading blanks skipped; a text that does not read as T gives T().
    template <typename T>
    static T str2type(const std::string& p_strText)
    {
        std::istringstream in(p_strText);
        T value = T();
        if (!(in >> value)) {
            return T();
        }
        return value;
    }
};

#endif
