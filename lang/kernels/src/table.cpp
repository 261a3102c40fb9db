// The table of built-in functions: each family adds its entries, and the
// table is sorted once so that a name is found by binary search.
#include "internal.hpp"

#include <algorithm>
#include <cstring>

namespace qzlang { namespace kernels {
using namespace detail;

namespace {

Table const& table() {
    static Table const t = [] {
        Table t;
        addConstruction(t);
        addShapeAndType(t);
        addMath(t);
        addReductions(t);
        addLinearAlgebra(t);
        addSorting(t);
        addText(t);
        addRegexp(t);
        addRandom(t);
        std::sort(t.begin(), t.end(), [](FunctionInfo const& a, FunctionInfo const& b) { return std::strcmp(a.name, b.name) < 0; });
        return t;
    }();
    return t;
}

} // namespace

FunctionInfo const* find(std::string const& name) {
    Table const& t = table();
    auto it = std::lower_bound(t.begin(), t.end(), name, [](FunctionInfo const& f, std::string const& n) { return n.compare(f.name) > 0; });
    if (it == t.end() || name != it->name) return nullptr;
    return &*it;
}

std::vector<std::string> names() {
    std::vector<std::string> v;
    for (auto const& f : table()) v.push_back(f.name);
    return v;
}

}} // namespace qzlang::kernels
