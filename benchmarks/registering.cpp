// The least that a module could be: connects to a Unix-domain socket, says so many bytes and waits for the end.
//     registering SOCKET BYTES
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    std::cout.flush(); // it has the standard library, as modules do
    if (argc != 3)
        return 2;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, argv[1], sizeof address.sun_path - 1);
    std::string frame(static_cast<std::size_t>(std::atoi(argv[2])), 'x');
    int const link = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (::connect(link, reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0 ||
        ::send(link, frame.data(), frame.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(frame.size()))
        return 1;
    return ::recv(link, frame.data(), frame.size(), 0) == 0 ? 0 : 1;
}
