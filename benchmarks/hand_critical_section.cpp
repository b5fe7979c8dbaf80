#include "hand_critical_section.h"

namespace hand
{

CriticalSection::CriticalSection(Semaphore& semaphore) : m_semaphore(&semaphore)
{
    m_semaphore->take(-1);
}

CriticalSection::~CriticalSection()
{
    m_semaphore->give();
}

} // namespace hand
