#pragma once

#include <string>

/** The system as the code under test sees it; each test sets what it needs in its set-up. */
struct TestPlatform {
  std::string home;
  std::string installed = "/opt/vorn/vorn-signing";
};

TestPlatform& testPlatform();
