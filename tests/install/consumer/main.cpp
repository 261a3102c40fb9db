#include <qzservices/qzservices.hpp>
#include <boost/make_shared.hpp>
#include <cstdio>

#ifdef QZ_EXPECT_CXX20
static_assert(__cplusplus >= 202002L, "the package's flags lowered the consumer's C++ standard");
#endif

int main() {
    auto sink = boost::make_shared<services::io::CXStringSink>();
    services::io::CXStream::CXOut.push(sink);
    services::io::CXStream::CXOut << "hello from a host" << std::flush;
    services::io::CXStream::CXOut.pop();
    std::printf("captured: %s\n", sink->getString().c_str());
}
