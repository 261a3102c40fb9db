// Every function of the table, and every operator, with arguments drawn from
// a pool of every class and awkward shape: each call either answers or
// raises a vx::Error; nothing else escapes (and the sanitizers see no fault).
#include "helpers.hpp"

#include <random>

using namespace kt;

namespace {

TEST(KernelHostileInput, AnyArgumentsGiveAnAnswerOrAClearError) {
    std::vector<ArrayPtr> pool;
    pool.push_back(mat(0, 0, {}));
    pool.push_back(mat(1, 0, {}));
    pool.push_back(num(2));
    pool.push_back(num(NAN));
    pool.push_back(num(-1));
    pool.push_back(num(0.5));
    pool.push_back(row({1, 2, 3}));
    pool.push_back(col({3, 1, 2}));
    pool.push_back(mat(2, 3, {1, 2, 3, 4, 5, 6}));
    pool.push_back(mat(3, 3, {2, 1, 0, 1, 3, 1, 0, 1, 4}));
    size_t d3[3] = {2, 1, 2};
    pool.push_back(ArrayPtr(vxCreateNumericArray(3, d3, vxDOUBLE_CLASS, vxREAL)));
    pool.push_back(mat(2, 2, {1, -2, 3, 4}, vxINT8_CLASS));
    pool.push_back(num(7, vxUINT64_CLASS));
    pool.push_back(row({1, 0, 1}, vxLOGICAL_CLASS));
    pool.push_back(str("ab c"));
    pool.push_back(str("descend"));
    pool.push_back(str("%d-%s\\n"));
    pool.push_back(mat(2, 2, {97, 98, 99, 100}, vxCHAR_CLASS));
    ArrayPtr c(vxCreateCellMatrix(1, 2));
    vxSetCell(c.get(), 0, vxCreateString("x"));
    pool.push_back(std::move(c));
    pool.push_back(ArrayPtr(vxCreateCellMatrix(0, 0)));
    char const* f[] = {"a"};
    pool.push_back(ArrayPtr(vxCreateStructMatrix(1, 2, 1, f)));
    pool.push_back(ArrayPtr(vxCreateFunctionHandle("@sin")));
    pool.push_back(mat(2, 2, {1, 2, 3, 4}, vxDOUBLE_CLASS, {1, 0, -1, 2}));
    pool.push_back(row({1.5, -2}, vxSINGLE_CLASS));
    pool.push_back(str("(\\w+)=(?<v>\\d*)"));
    std::mt19937 g(1);
    size_t calls = 0;
    for (auto const& name : qzlang::kernels::names()) {
        auto const* fi = qzlang::kernels::find(name);
        int maxIn = fi->maxIn < 0 ? 4 : std::min(fi->maxIn, 4);
        for (int trial = 0; trial < 300; ++trial) {
            int nin = fi->minIn + int(g() % unsigned(maxIn - fi->minIn + 1));
            std::vector<vxArray const*> in;
            for (int k = 0; k < nin; ++k) in.push_back(pool[g() % pool.size()].get());
            int nout = 1 + int(g() % unsigned(std::max(1, std::min(fi->maxOut, 3))));
            std::vector<ArrayPtr> out;
            try {
                fi->fn(nout, out, in);
                ++calls;
            } catch (vx::Error const&) {
            } catch (std::exception const& e) {
                ADD_FAILURE() << name << ": " << e.what();
            }
        }
    }
    for (int op = 0; op <= int(qzlang::kernels::Binary::Or); ++op)
        for (auto const& a : pool)
            for (auto const& b : pool) {
                try {
                    qzlang::kernels::binary(qzlang::kernels::Binary(op), a.get(), b.get());
                } catch (vx::Error const&) {
                }
            }
    for (int op = 0; op <= int(qzlang::kernels::Unary::CTranspose); ++op)
        for (auto const& a : pool) {
            try {
                qzlang::kernels::unary(qzlang::kernels::Unary(op), a.get());
                qzlang::kernels::isTrue(a.get());
            } catch (vx::Error const&) {
            }
        }
    // The pool is meant to reach the functions' work, not only their checks.
    EXPECT_GT(calls, 10000u);
}

} // namespace
