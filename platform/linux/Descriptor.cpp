#include "platform/linux/Descriptor.h"

#include <cerrno>

namespace lanterna
{

void Descriptor::reset()
{
    if (m_number < 0)
        return;
    const int before = errno;
    ::close(std::exchange(m_number, -1));
    errno = before;
}

} // namespace lanterna
