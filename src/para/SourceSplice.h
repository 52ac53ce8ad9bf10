#pragma once
// Writing a document back as the bytes it was read from, with only the edited texts replaced: the
// source text stays the authority for everything the program did not change (declaration,
// comments, whitespace, line ends, quotes, entity forms, empty-element forms).

#include <pugixml.hpp>

#include <string>
#include <vector>

namespace ferro {

// `Doc` was parsed from `Source` (UTF-8, not in place, so node offsets point into `Source`). The
// result is `Source` with every text node whose value differs from its source replaced, text
// nodes added since inserted into their element, and the elements of `Skip` removed with their
// line. Throws TParaError for a document nested deeper than CMaxSetupDepth.
std::string SpliceDocument(const std::string& Source, const pugi::xml_document& Doc,
                           const std::vector<pugi::xml_node>& Skip = {});

} // namespace ferro
