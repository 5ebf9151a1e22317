#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <sstream>

#include "shared/json/JsonReader.h"
#include "shared/json/JsonWriter.h"

namespace {

using Limits = std::numeric_limits<long double>;

/** Compares one reading with a stream's: success, value to the sign of zero, and where it stopped. */
void expectReadAsByStream(const std::string& text) {
  SCOPED_TRACE(text);
  std::istringstream in(text);
  long double expected = 0;
  const bool succeeds = static_cast<bool>(in >> std::noskipws >> expected);
  long double number = 0;
  const char* const stop = jsonxx::readNumber(text.data(), text.data() + text.size(), number);
  ASSERT_EQ(stop != nullptr, succeeds);
  if (!succeeds) return;
  EXPECT_TRUE(number == expected || (std::isnan(number) && std::isnan(expected)));  // libc++ reads "nan"
  EXPECT_EQ(std::signbit(number), std::signbit(expected));
  in.clear();
  EXPECT_EQ(stop - text.data(), in.tellg());
}

std::string write(long double number) {
  std::string text;
  jsonxx::appendNumber(text, number);
  return text;
}

std::string writeByStream(long double number) {
  std::ostringstream out;
  out.precision(19);
  out << number;
  return out.str();
}

TEST(JsonNumber, ReadsWhatAStreamReads) {
  std::istringstream texts(
      "|-|+|.|e5|1e|1e+|-.5e-3x|+5|00012|.5|5.|1.5.3|0x10|1e5e5|-0|-0.0|1,234|1e5000|-1e5000|"
      "1e-5000|nan|inf|1e4932|--1|+-1|1-2|9 |- 1|1e 5|1f|1L|0b1|1_000|..5|1E+05]|3.4e+}|"
      "0000000000000000000000000000001|123456789012345678|999999999999999999|"
      "1234567890123456789|123456789012345678.5|18446744073709551617|-123456789012345678e2|0.1|0x|0x1p3|7f|"
      "12p|3n|4i|5/6|6}|7]|"
      "3.64519953188247460253e-4951|1.18973149535723176502e+4932");
  for (std::string text; std::getline(texts, text, '|');) expectReadAsByStream(text);

  std::mt19937 random(7);
  const std::string alphabet = "0123456789012345679..eE+-,xXabfLp_ /]}n";
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 24, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    expectReadAsByStream(text);
  }
}

TEST(JsonNumber, WritesWhatAStreamWrites) {
  // clang-format off
  std::vector<long double> numbers = {0, 0.1L, 0.1, 42, 1e18L, 1e18L - 0.5L, 999999999999999999.0L, 9999999999999999999.0L,
                                      1e19L, 1e-4L, 9e-5L, 1e100L, Limits::infinity(), Limits::quiet_NaN(), Limits::max(),
                                      Limits::min(), Limits::denorm_min()};
  // clang-format on
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    const auto mantissa = static_cast<long double>(static_cast<std::int64_t>(random()));
    numbers.push_back(std::ldexp(mantissa, static_cast<int>(random() % 160) - 120));
  }
  for (const long double number : numbers) {
    EXPECT_EQ(write(number), writeByStream(number));
    EXPECT_EQ(write(-number), writeByStream(-number));
  }
}

}  // namespace
