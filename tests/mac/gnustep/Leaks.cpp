// Asked by the address sanitizer. What the Objective-C runtime and GNUstep keep to the end of the process is
// theirs.
extern "C" {

const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
const char* __lsan_default_options();       // NOLINT(bugprone-reserved-identifier)

const char* __lsan_default_suppressions() {
  return "leak:libobjc.so\nleak:libgnustep-base.so\n";
}

const char* __lsan_default_options() {
  return "print_suppressions=0";
}
}
