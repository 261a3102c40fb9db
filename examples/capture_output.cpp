// A host that captures everything the library prints, output and errors, in
// one string. Nothing is shown before the first push: the streams have no sink
// until then and drop what they are given.
#include <qzservices/qzservices.hpp>

#include <boost/make_shared.hpp>

#include <cstdio>
#include <iostream>

using services::io::CXStream;

int main() {
    uvPrintf("dropped: no sink has been pushed yet\n");

    auto capture = boost::make_shared<services::io::CXStringSink>();
    CXStream::CXOut.push(capture);
    CXStream::CXErr.push(capture);  // errors into the same string
    std::cout << "x = " << 42 << std::endl;  // std::cout goes to CXOut from the first push on
    uvPrintf("%s\n", "through uvPrintf");
    ioFlush();  // each stream has its own buffer: flush before the other one writes
    CXStream::CXErr << "an error line" << std::endl;
    CXStream::CXErr.pop();
    CXStream::CXOut.pop();

    std::printf("captured:\n%s", capture->getString().c_str());
    return 0;
}
