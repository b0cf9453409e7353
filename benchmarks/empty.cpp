// An empty C++ program that links the standard library: the least that a module's start could cost.
#include <iostream>

int main()
{
    std::cout.flush();
    return 0;
}
