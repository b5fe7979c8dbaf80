#include "threads/semaphore_dump.h"

#include <iomanip>

#include "base/console.h"

namespace gpal::detail
{
namespace
{

const char* const RULE = "**************************************\n";
constexpr int LABEL_WIDTH = 26;

} // namespace

SemaphoreDump::SemaphoreDump(const char* type, const void* object)
{
    m_text.imbue(std::locale::classic());
    m_text << RULE << std::left;
    line("Type") << type << '\n';
    line("id") << object << '\n';
}

std::ostream& SemaphoreDump::line(const char* label)
{
    return m_text << std::setw(LABEL_WIDTH) << label << "= ";
}

void SemaphoreDump::threads(const std::multiset<unsigned long>& ids)
{
    int index = 0;
    for (const unsigned long id : ids) {
        m_text << index++ << " - " << id << '\n';
    }
}

void SemaphoreDump::write()
{
    m_text << RULE;
    writeToConsole(m_text.str());
}

} // namespace gpal::detail
