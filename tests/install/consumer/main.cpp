#include <qzservices/qzservices.hpp>
#include <boost/make_shared.hpp>
#include <cstdio>

int main() {
    auto sink = boost::make_shared<services::io::CXStringSink>();
    services::io::CXStream::CXOut.push(sink);
    services::io::CXStream::CXOut << "hello from a host" << std::flush;
    services::io::CXStream::CXOut.pop();
    std::printf("captured: %s\n", sink->getString().c_str());
}
