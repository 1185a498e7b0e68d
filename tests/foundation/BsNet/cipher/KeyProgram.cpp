// Tells that it is there, waits until there is a file of the second name, and tells the key in the folder of
// the first name, which it makes where there is none.
#include <BsNet/cipher.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <thread>

int main(int count, char** arguments) {
  if (count != 3) return 2;
  std::cout << "ready" << std::endl;
  const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  while (!std::filesystem::exists(std::filesystem::u8path(arguments[2]))) {
    if (std::chrono::steady_clock::now() > limit) return 1;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  const auto key = KBL::makeFileKeyStore(arguments[1])->loadOrCreateKey();
  for (const unsigned char byte : key) std::cout << int{byte} << ' ';
  std::cout << std::endl;
  return 0;
}
