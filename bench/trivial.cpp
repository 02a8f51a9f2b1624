// The smallest C++ library over expat: something to compare the loading of libkxl with.
#include <expat.h>

#include <iostream>
#include <string>

extern "C" unsigned GetVersion() {
  const std::string text = XML_ExpatVersion();
  if (text.empty()) std::cerr << "no expat\n";
  return static_cast<unsigned>(text.size());
}
