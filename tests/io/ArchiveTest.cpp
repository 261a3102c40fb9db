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
using services::prompt::InputRequester;

namespace {

struct TextKind {
    using OArchive = boost::archive::text_oarchive;
    using IArchive = boost::archive::text_iarchive;
};
struct BinaryKind {
    using OArchive = boost::archive::binary_oarchive;
    using IArchive = boost::archive::binary_iarchive;
};
struct XmlKind {
    using OArchive = boost::archive::xml_oarchive;
    using IArchive = boost::archive::xml_iarchive;
};

template <class Kind, class T>
std::string save(T const& value, char const* name) {
    std::ostringstream os;
    {
        typename Kind::OArchive oa(os);
        oa << make_nvp(name, value);
    }
    return os.str();
}

template <class Kind, class T>
void load(std::string const& bytes, T& value, char const* name) {
    std::istringstream is(bytes);
    typename Kind::IArchive ia(is);
    ia >> make_nvp(name, value);
}

SinkTraits mixedTraits() {
    SinkTraits t;
    t.buzz = true;
    t.more = false;
    t.links = true;
    t.displayformatting = false;
    t.diary = true;
    t.echo = false;
    t.logging = true;
    return t;
}

template <class Kind>
class ArchiveRoundTrip : public ::testing::Test {};
using ArchiveKinds = ::testing::Types<TextKind, BinaryKind, XmlKind>;
TYPED_TEST_SUITE(ArchiveRoundTrip, ArchiveKinds);

TYPED_TEST(ArchiveRoundTrip, SinkTraitsKeepsEveryFlag) {
    SinkTraits const original = mixedTraits();
    SinkTraits loaded;
    loaded.buzz = false;
    loaded.more = true;
    loaded.links = false;
    loaded.displayformatting = true;
    loaded.diary = false;
    loaded.echo = true;
    loaded.logging = false;
    load<TypeParam>(save<TypeParam>(original, "traits"), loaded, "traits");
    EXPECT_TRUE(loaded == original);
}

TYPED_TEST(ArchiveRoundTrip, InputRequestEventKeepsItsRequester) {
    InputRequestEvent const original(services::prompt::MORE_PROMPT);
    InputRequestEvent loaded;
    ASSERT_EQ(services::prompt::NO_REQUESTER, loaded.getRequester());
    load<TypeParam>(save<TypeParam>(original, "event"), loaded, "event");
    EXPECT_EQ(8, static_cast<int>(loaded.getRequester()));
    EXPECT_EQ(original.getTypes(), loaded.getTypes());
}

TYPED_TEST(ArchiveRoundTrip, EventThroughBasePointerComesBackAsItsClass) {
    std::unique_ptr<BaseEvent> out(new InputRequestEvent(services::prompt::MORE_PROMPT));
    std::ostringstream os;
    {
        typename TypeParam::OArchive oa(os);
        BaseEvent* raw = out.get();
        oa << make_nvp("event", raw);
    }
    BaseEvent* in = nullptr;
    {
        std::istringstream is(os.str());
        typename TypeParam::IArchive ia(is);
        ia >> make_nvp("event", in);
    }
    std::unique_ptr<BaseEvent> owned(in);
    auto* request = dynamic_cast<InputRequestEvent*>(owned.get());
    ASSERT_NE(nullptr, request);
    EXPECT_EQ(8, static_cast<int>(request->getRequester()));
}

TYPED_TEST(ArchiveRoundTrip, CommandWindowEventsComeBackThroughBasePointers) {
    std::vector<BaseEvent*> out{new CLCEvent, new HomeEvent};
    std::ostringstream os;
    {
        typename TypeParam::OArchive oa(os);
        oa << make_nvp("clc", out[0]) << make_nvp("home", out[1]);
    }
    BaseEvent* clc = nullptr;
    BaseEvent* home = nullptr;
    {
        std::istringstream is(os.str());
        typename TypeParam::IArchive ia(is);
        ia >> make_nvp("clc", clc) >> make_nvp("home", home);
    }
    std::unique_ptr<BaseEvent> a(clc), b(home);
    EXPECT_NE(nullptr, dynamic_cast<CLCEvent*>(a.get()));
    EXPECT_NE(nullptr, dynamic_cast<HomeEvent*>(b.get()));
    EXPECT_TRUE(a->isOfType("CLCEvent"));
    EXPECT_TRUE(b->isOfType("HomeEvent"));
    for (BaseEvent* e : out) delete e;
}

TYPED_TEST(ArchiveRoundTrip, ObjectSavedTwiceThroughPointersLoadsAsOne) {
    std::unique_ptr<CLCEvent> event(new CLCEvent);
    CLCEvent* first = event.get();
    CLCEvent* second = event.get();
    std::ostringstream os;
    {
        typename TypeParam::OArchive oa(os);
        oa << make_nvp("first", first) << make_nvp("second", second);
    }
    CLCEvent* a = nullptr;
    CLCEvent* b = nullptr;
    {
        std::istringstream is(os.str());
        typename TypeParam::IArchive ia(is);
        ia >> make_nvp("first", a) >> make_nvp("second", b);
    }
    std::unique_ptr<CLCEvent> owned(a);
    ASSERT_NE(nullptr, a);
    EXPECT_EQ(a, b);
}

TYPED_TEST(ArchiveRoundTrip, VersionZeroHasNoRequesterAndLeavesTheTargetAlone) {
    InputRequestEvent const original(services::prompt::MORE_PROMPT);
    std::ostringstream os;
    {
        typename TypeParam::OArchive oa(os);
        const_cast<InputRequestEvent&>(original).serializeExplicit(oa, 0);
    }
    InputRequestEvent loaded;
    {
        std::istringstream is(os.str());
        typename TypeParam::IArchive ia(is);
        loaded.serializeExplicit(ia, 0);
    }
    EXPECT_EQ(services::prompt::NO_REQUESTER, loaded.getRequester());
}

std::vector<std::string> childElements(std::string const& xml, std::string const& parent) {
    auto start = xml.find("<" + parent);
    auto end = xml.find("</" + parent + ">");
    std::vector<std::string> names;
    if (start == std::string::npos || end == std::string::npos) return names;
    std::string body = xml.substr(start, end - start);
    body = body.substr(body.find('>') + 1);
    std::regex open("<([A-Za-z_]+)>");
    for (std::sregex_iterator it(body.begin(), body.end(), open), last; it != last; ++it)
        names.push_back((*it)[1]);
    return names;
}

TEST(XmlArchive, SinkTraitsHasSevenChildrenInFieldOrder) {
    std::string const xml = save<XmlKind>(mixedTraits(), "traits");
    std::vector<std::string> const expected{"buzz", "more", "links", "displayformatting",
                                            "diary", "echo", "logging"};
    EXPECT_EQ(expected, childElements(xml, "traits"));
    EXPECT_NE(std::string::npos, xml.find("<buzz>1</buzz>"));
    EXPECT_NE(std::string::npos, xml.find("<more>0</more>"));
    EXPECT_NE(std::string::npos, xml.find("version=\"1\""));
}

TEST(XmlArchive, BaseObjectElementBearsTheDerivedClassName) {
    std::string const xml = save<XmlKind>(InputRequestEvent(services::prompt::DEBUGGER), "event");
    EXPECT_NE(std::string::npos, xml.find("<InputRequestEvent"));
    EXPECT_NE(std::string::npos, xml.find("<requester>3</requester>"));
    EXPECT_LT(xml.find("<InputRequestEvent"), xml.find("<requester>"));

    std::string const clc = save<XmlKind>(CLCEvent(), "clc");
    EXPECT_NE(std::string::npos, clc.find("<CLCEvent"));
}

TEST(XmlArchive, PointerRecordsCarryTheExportName) {
    BaseEvent* event = new HomeEvent;
    std::string const xml = save<XmlKind>(event, "event");
    delete event;
    EXPECT_NE(std::string::npos, xml.find("class_name=\"services::io::HomeEvent\""));
}

TEST(TextArchive, RequesterIsOneDecimalTokenAfterTheBase) {
    std::string const text = save<TextKind>(InputRequestEvent(services::prompt::HOST_REQUEST), "e");
    // The last token of the record is the requester.
    auto trimmed = text.substr(0, text.find_last_not_of(" \n") + 1);
    EXPECT_EQ("7", trimmed.substr(trimmed.find_last_of(' ') + 1));
}

TEST(ArchiveFailure, FailedTextStreamThrowsOutputStreamError) {
    std::ostringstream os;
    boost::archive::text_oarchive oa(os);
    os.setstate(std::ios::badbit);
    SinkTraits const traits = mixedTraits();
    try {
        oa << traits;
        FAIL() << "saving into a failed stream did not throw";
    } catch (boost::archive::archive_exception const& e) {
        EXPECT_EQ(boost::archive::archive_exception::output_stream_error, e.code);
    }
}

TEST(ArchiveFailure, FailedXmlStreamThrowsOutputStreamError) {
    std::ostringstream os;
    boost::archive::xml_oarchive oa(os);
    os.setstate(std::ios::badbit);
    InputRequestEvent const event(services::prompt::PAUSE);
    try {
        oa << make_nvp("event", event);
        FAIL() << "saving into a failed stream did not throw";
    } catch (boost::archive::archive_exception const& e) {
        EXPECT_EQ(boost::archive::archive_exception::output_stream_error, e.code);
    }
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
    int_type overflow(int_type c) override {
        if (room_ <= 0) return traits_type::eof();
        --room_;
        return traits_type::not_eof(c);
    }

private:
    std::streamsize room_;
};

TEST(ArchiveFailure, ShortBinaryWriteThrows) {
    std::ostringstream header;
    { boost::archive::binary_oarchive probe(header); }
    ShortBuffer buffer(static_cast<std::streamsize>(header.str().size()) + 2);
    boost::archive::binary_oarchive oa(buffer);
    EXPECT_THROW(oa << mixedTraits(), boost::archive::archive_exception);
}

TEST(ArchiveFailure, TruncatedBinaryReadThrows) {
    std::string bytes = save<BinaryKind>(InputRequestEvent(services::prompt::MORE_PROMPT), "e");
    bytes.resize(bytes.size() - 2);
    InputRequestEvent loaded;
    EXPECT_THROW(load<BinaryKind>(bytes, loaded, "e"), boost::archive::archive_exception);
}

} // namespace
