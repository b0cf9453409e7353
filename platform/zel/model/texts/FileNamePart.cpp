#include <zel/model/texts/FileNamePart.h>

namespace zel {

bool isFileNamePart(String const& text)
{
    if (text.empty() || text[0] == '.' || text.toUtf8().size() > 128)
        return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] < 0x20 || text[i] == 0x7F || text[i] == '/' || text[i] == '\\')
            return false;
    return true;
}

} // namespace zel
