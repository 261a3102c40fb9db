// Round trips of the event records and the sink properties through the text,
// binary and XML archives, and the failures that the archives report.
#include "qzservices/io/CmdWinEvents.hpp"
#include "qzservices/io/SinkTraits.hpp"
#include "qzservices/prompt/prompt.hpp"

#include <boost/archive/archive_exception.hpp>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>
#include <boost/archive/xml_iarchive.hpp>
#include <boost/archive/xml_oarchive.hpp>
#include <boost/serialization/nvp.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

using boost::serialization::make_nvp;
using cxutil::eventmgr::BaseEvent;
using services::io::CLCEvent;
using services::io::HomeEvent;
using services::io::SinkTraits;
using services::prompt::InputRequestEvent;

namespace {

template <class O, class I>
struct Kind {
    using OArchive = O;
    using IArchive = I;
};
using TextKind = Kind<boost::archive::text_oarchive, boost::archive::text_iarchive>;
using BinaryKind = Kind<boost::archive::binary_oarchive, boost::archive::binary_iarchive>;
using XmlKind = Kind<boost::archive::xml_oarchive, boost::archive::xml_iarchive>;

template <class K, class T>
std::string save(T const& value, char const* name) {
    std::ostringstream os;
    {
        typename K::OArchive oa(os);
        oa << make_nvp(name, value);
    }
    return os.str();
}

// The seven flags in field order, from a string of '0' and '1'.
SinkTraits traits(char const* bits) {
    SinkTraits t;
    bool* fields[] = {&t.buzz, &t.more, &t.links, &t.displayformatting, &t.diary, &t.echo, &t.logging};
    for (int i = 0; i < 7; ++i) *fields[i] = bits[i] == '1';
    return t;
}

template <class K>
class ArchiveRoundTrip : public ::testing::Test {};
using ArchiveKinds = ::testing::Types<TextKind, BinaryKind, XmlKind>;
TYPED_TEST_SUITE(ArchiveRoundTrip, ArchiveKinds);

TYPED_TEST(ArchiveRoundTrip, ValuesAndPointersComeBackAsTheirClassesAndSharedOnesAsOne) {
    SinkTraits const traitsOut = traits("1010101");
    InputRequestEvent const requestOut(services::prompt::MORE_PROMPT);
    std::unique_ptr<BaseEvent> owned[] = {std::make_unique<InputRequestEvent>(services::prompt::MORE_PROMPT),
                                          std::make_unique<CLCEvent>(), std::make_unique<HomeEvent>(),
                                          std::make_unique<CLCEvent>()};
    BaseEvent* basesOut[] = {owned[0].get(), owned[1].get(), owned[2].get()};
    CLCEvent* twice = static_cast<CLCEvent*>(owned[3].get());
    std::ostringstream os;
    {
        typename TypeParam::OArchive oa(os);
        oa << make_nvp("traits", traitsOut) << make_nvp("event", requestOut) << make_nvp("request", basesOut[0])
           << make_nvp("clc", basesOut[1]) << make_nvp("home", basesOut[2]) << make_nvp("first", twice)
           << make_nvp("second", twice);
    }
    SinkTraits traitsIn = traits("0101010");  // every flag must be overwritten
    InputRequestEvent requestIn;
    ASSERT_EQ(services::prompt::NO_REQUESTER, requestIn.getRequester());
    BaseEvent* basesIn[3] = {nullptr, nullptr, nullptr};
    CLCEvent* a = nullptr;
    CLCEvent* b = nullptr;
    {
        std::istringstream is(os.str());
        typename TypeParam::IArchive ia(is);
        ia >> make_nvp("traits", traitsIn) >> make_nvp("event", requestIn) >> make_nvp("request", basesIn[0])
           >> make_nvp("clc", basesIn[1]) >> make_nvp("home", basesIn[2]) >> make_nvp("first", a)
           >> make_nvp("second", b);
    }
    std::unique_ptr<BaseEvent> loaded[] = {std::unique_ptr<BaseEvent>(basesIn[0]), std::unique_ptr<BaseEvent>(basesIn[1]),
                                           std::unique_ptr<BaseEvent>(basesIn[2]), std::unique_ptr<BaseEvent>(a)};
    EXPECT_TRUE(traitsIn == traitsOut);
    EXPECT_EQ(8, static_cast<int>(requestIn.getRequester()));
    EXPECT_EQ(requestOut.getTypes(), requestIn.getTypes());
    auto* request = dynamic_cast<InputRequestEvent*>(basesIn[0]);
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(8, static_cast<int>(request->getRequester()));
    EXPECT_NE(nullptr, dynamic_cast<CLCEvent*>(basesIn[1]));
    EXPECT_NE(nullptr, dynamic_cast<HomeEvent*>(basesIn[2]));
    EXPECT_TRUE(basesIn[1]->isOfType("CLCEvent") && basesIn[2]->isOfType("HomeEvent"));
    ASSERT_NE(nullptr, a);
    EXPECT_EQ(a, b);
}

TYPED_TEST(ArchiveRoundTrip, VersionZeroHasNoRequesterAndLeavesTheTargetAlone) {
    InputRequestEvent original(services::prompt::MORE_PROMPT);
    std::ostringstream os;
    {
        typename TypeParam::OArchive oa(os);
        original.serializeExplicit(oa, 0);
    }
    InputRequestEvent loaded;
    std::istringstream is(os.str());
    typename TypeParam::IArchive ia(is);
    loaded.serializeExplicit(ia, 0);
    EXPECT_EQ(services::prompt::NO_REQUESTER, loaded.getRequester());
}

std::vector<std::string> childElements(std::string const& xml, std::string const& parent) {
    auto start = xml.find("<" + parent);
    std::string body = xml.substr(start, xml.find("</" + parent + ">") - start);
    body = body.substr(body.find('>') + 1);
    std::regex open("<([A-Za-z_]+)>");
    std::vector<std::string> names;
    for (std::sregex_iterator it(body.begin(), body.end(), open), last; it != last; ++it) names.push_back((*it)[1]);
    return names;
}

TEST(XmlArchive, ElementNamesFieldsVersionAndExportNames) {
    std::string const xml = save<XmlKind>(traits("1010101"), "traits");
    EXPECT_EQ(childElements(xml, "traits"),
              (std::vector<std::string>{"buzz", "more", "links", "displayformatting", "diary", "echo", "logging"}));
    EXPECT_NE(std::string::npos, xml.find("<buzz>1</buzz>"));
    EXPECT_NE(std::string::npos, xml.find("<more>0</more>"));
    EXPECT_NE(std::string::npos, xml.find("version=\"1\""));

    // The base object's element bears the derived class's name.
    std::string const event = save<XmlKind>(InputRequestEvent(services::prompt::DEBUGGER), "event");
    EXPECT_NE(std::string::npos, event.find("<requester>3</requester>"));
    EXPECT_LT(event.find("<InputRequestEvent"), event.find("<requester>"));
    EXPECT_NE(std::string::npos, save<XmlKind>(CLCEvent(), "clc").find("<CLCEvent"));

    std::unique_ptr<BaseEvent> home(new HomeEvent);
    EXPECT_NE(std::string::npos,
              save<XmlKind>(home.get(), "event").find("class_name=\"services::io::HomeEvent\""));
}

TEST(TextArchive, RequesterIsOneDecimalTokenAfterTheBase) {
    std::string text = save<TextKind>(InputRequestEvent(services::prompt::HOST_REQUEST), "e");
    text = text.substr(0, text.find_last_not_of(" \n") + 1);
    EXPECT_EQ("7", text.substr(text.find_last_of(' ') + 1));
}

// A stream buffer that takes a fixed number of bytes and then refuses.
class ShortBuffer : public std::streambuf {
public:
    explicit ShortBuffer(std::streamsize room) : room_(room) {}
protected:
    std::streamsize xsputn(char const*, std::streamsize n) override {
        std::streamsize const taken = std::min(n, room_);
        room_ -= taken;
        return taken;
    }
    int_type overflow(int_type c) override { return room_-- > 0 ? traits_type::not_eof(c) : traits_type::eof(); }
private:
    std::streamsize room_;
};

TEST(ArchiveFailure, FailedStreamsShortWritesAndTruncatedReadsThrow) {
    auto code = [](auto&& action) {
        try {
            action();
        } catch (boost::archive::archive_exception const& e) {
            return static_cast<int>(e.code);
        }
        return -1;
    };
    int const streamError = boost::archive::archive_exception::output_stream_error;
    EXPECT_EQ(streamError, code([] {
        std::ostringstream os;
        boost::archive::text_oarchive oa(os);
        os.setstate(std::ios::badbit);
        oa << traits("1010101");
    }));
    EXPECT_EQ(streamError, code([] {
        std::ostringstream os;
        boost::archive::xml_oarchive oa(os);
        os.setstate(std::ios::badbit);
        InputRequestEvent const event(services::prompt::PAUSE);
        oa << make_nvp("event", event);
    }));
    EXPECT_NE(-1, code([] {
        std::ostringstream header;
        { boost::archive::binary_oarchive probe(header); }
        ShortBuffer buffer(static_cast<std::streamsize>(header.str().size()) + 2);
        boost::archive::binary_oarchive oa(buffer);
        oa << traits("1010101");
    }));
    EXPECT_NE(-1, code([] {
        std::string bytes = save<BinaryKind>(InputRequestEvent(services::prompt::MORE_PROMPT), "e");
        bytes.resize(bytes.size() - 2);
        std::istringstream is(bytes);
        boost::archive::binary_iarchive ia(is);
        InputRequestEvent loaded;
        ia >> make_nvp("e", loaded);
    }));
}

} // namespace
