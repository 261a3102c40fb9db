// The built-ins of programs in files, looked up before the others.
#pragma once
#include "Interp.hpp"

namespace qzlang {

LangFunction findFileFunction(std::string const& name);

} // namespace qzlang
