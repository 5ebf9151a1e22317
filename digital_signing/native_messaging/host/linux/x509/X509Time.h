#pragma once

#include "linux/x509/Der.h"

namespace vorn::x509 {

/**
 * A UTCTime or GeneralizedTime as seconds since 2001-01-01 00:00:00 UTC, negative before.
 *
 * A UTCTime of the years 50 to 69, which belong to neither century here, gives 0. None for any other form,
 * fractions of a second included.
 */
std::optional<double> readTime(const der::Element& time);

}  // namespace vorn::x509
