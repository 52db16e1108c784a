// Strings and streams of the base layer: one string type (std::string) and std streams.
#pragma once

#include <ostream>
#include <sstream>
#include <string>

namespace ltt {
using string = std::string;
template <class C>
using basic_ostream = std::basic_ostream<C>;
using ostream = std::ostream;
using ostringstream = std::ostringstream;
}  // namespace ltt

namespace ltt_adp {
using string = std::string;
}
