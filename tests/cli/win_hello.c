/* A program to set the icon of: after the change it must still run, print its line and exit 3.
 * Built with: x86_64-w64-mingw32-gcc -o win_hello.exe win_hello.c */
#include <stdio.h>

int main(void)
{
    puts("hello from a program");
    return 3;
}
