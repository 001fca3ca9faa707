// Speeds without a Bnnnn constant need the kernel's termios2 (BOTHER plus the rate in
// c_ispeed/c_ospeed). Its headers clash with glibc's <termios.h>, hence a file of its own.
#include <asm/ioctls.h>
#include <asm/termbits.h>
#include <sys/ioctl.h>

bool SetCustomBaudRate(int fd, int baudRate)
{
    termios2 settings{};
    if (::ioctl(fd, TCGETS2, &settings) != 0)
        return false;
    settings.c_cflag &= ~(CBAUD | (CBAUD << IBSHIFT));
    settings.c_cflag |= BOTHER | (BOTHER << IBSHIFT);
    settings.c_ispeed = static_cast<speed_t>(baudRate);
    settings.c_ospeed = static_cast<speed_t>(baudRate);
    return ::ioctl(fd, TCSETS2, &settings) == 0;
}

int ReadDeviceBaudRate(int fd)
{
    // c_ospeed is exact for every rate; the Bnnnn code in c_cflag is not for BOTHER.
    termios2 settings{};
    if (::ioctl(fd, TCGETS2, &settings) != 0)
        return 0;
    return static_cast<int>(settings.c_ospeed);
}
