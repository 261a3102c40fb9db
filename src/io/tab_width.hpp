// The tab width by which the wrapper measures a tab.
#pragma once

namespace services { namespace io { namespace detail {

int const kDefaultTabWidth = 8;

// A preference value of the form "I<number>" (the type letter, then the
// number); a value that does not read so, or a number below 1, gives 8.
int tabWidthFromPreference(char const* value);

// The command window's tab width, from the preference
// "CommandWindowSpacesPerTab".
int commandWindowTabWidth();

}}} // namespace services::io::detail
