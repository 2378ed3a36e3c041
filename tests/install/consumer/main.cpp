// Prints the message of code 34 through the installed headers and library.
#include <zvsupport.h>

#include <cstdio>

int main() {
    std::puts(TarnGetErrorMsg(34));
    return 0;
}
