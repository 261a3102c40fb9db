// The help of a source file: the first block of comment lines, behind the
// "function" line of a function file or at the top of a script. In a host
// whose output carries hot links, the names of its "See also" lines become
// help links ("calyx:helpPopup NAME") made by the library's help-link
// function, so that a click shows that name's help.
#pragma once
#include <string>

namespace qzlang { namespace files {

// The lines of the block with their first "%" taken off, each ending with a
// line end; a "%{" ... "%}" block comment gives its inner lines as they
// stand. Empty when the file's first code line is not a comment (nor a
// "function" line followed by one).
std::string helpText(std::string const& source);
// helpText with the See-also names linked when uvPrintfIsHot() holds, that
// is when hot links are on and the command window can show them.
std::string helpTextWithLinks(std::string const& source);
// One help line with its names linked, if it is a "See also" line (the words
// "See also" at its start, any case, an optional ":", then only names
// separated by commas and blanks, perhaps a final "."); other lines come
// back as they are. `continuing` says that the list of the line before ended with a
// comma, so that a line holding only names goes on with it; it is updated.
std::string linkSeeAlsoLine(std::string const& line, bool& continuing);

}} // namespace qzlang::files
