#include "LibraryMessages.h"

std::string withoutPositionPrefix(const std::string& text)
{
    // file(line), function: text
    const size_t close = text.find("), ");
    if (close == std::string::npos)
        return text;
    const size_t open = text.rfind('(', close);
    if (open == std::string::npos || open == 0 || open + 1 == close)
        return text;
    for (size_t i = open + 1; i < close; ++i)
        if (text[i] < '0' || text[i] > '9')
            return text;
    if (text.find(' ') < open)
        return text;
    const size_t colon = text.find(": ", close + 3);
    if (colon == std::string::npos)
        return text;
    return text.substr(colon + 2);
}
