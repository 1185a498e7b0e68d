// A program that keeps the console that it was given until it is ended.
#include <windows.h>

int main() {
  Sleep(INFINITE);
}
