// The virtual instrument as a process: virtual_instrument SCENE speaks the lines of an instrument.

#include <exception>
#include <iostream>
#include <string>

#include "host/scene_driver.h"
#include "host/wire.h"

int main(int argc, char** argv) {
  using namespace libmfx::host;
  if (argc != 2) {
    std::cerr << "usage: virtual_instrument SCENE\n";
    return 2;
  }
  try {
    const auto driver = SceneDriver::FromFile(argv[1], {});
    for (std::string line; std::getline(std::cin, line);) {
      std::cout << SamplesLine(driver->Drive(ReadDrive(line), "")) << std::endl;
    }
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 2;
  }
  return 0;
}
