// A host that shows a matrix and a cell array in the long format on standard
// output, the way the command window shows them.
#include <qzservices/qzservices.hpp>

#include <boost/make_shared.hpp>

#include <cstdio>

using services::io::CXStream;

int main() {
    // Both streams to standard output, through fputs.
    auto out = boost::make_shared<services::io::PutsFnSink>([](char const* s) { return std::fputs(s, stdout); });
    CXStream::CXOut.push(out);
    CXStream::CXErr.push(out);

    vxArray* matrix = vxCreateDoubleMatrix(1, 3, vxREAL);
    double const values[] = {0.25, 1e5, -3};
    for (int i = 0; i < 3; ++i) vxGetPr(matrix)[i] = values[i];

    vxArray* cell = vxCreateCellMatrix(1, 2);
    vxSetCell(cell, 0, vxCreateDoubleScalar(3.141592653589793));
    vxSetCell(cell, 1, vxCreateString("abc"));

    SetPrtfmt(PrtfmtLong);
    try {
        ioPrintArray("B", matrix);
        ioPrintArray("c", cell);
    } catch (vx::Error const& e) {  // a display refuses what it cannot show
        std::fprintf(stderr, "display failed: %s\n", e.what());
    }
    ioFlush();
    vxDestroyArray(cell);  // destroys the cell's members too
    vxDestroyArray(matrix);
    CXStream::CXErr.pop();
    CXStream::CXOut.pop();
    return 0;
}
