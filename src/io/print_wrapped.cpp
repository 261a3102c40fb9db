// ioPrintWrapped: one pass over the 16-bit text that decides where lines
// break, the markup of hot links taking no room, and the output of the lines
// in chunks. Its switches are in wrapping_feature.cpp, its scans over the
// units in wrap_units.cpp.
#include "qzservices/io/wrapping.hpp"
#include "qzservices/io/window.hpp"
#include "io/hot_links.hpp"
#include "io/tab_width.hpp"
#include "io/wrap_units.hpp"

#include <fd/i18n/codecvt.hpp>
#include <fd/i18n/convert.hpp>
#include <uv/unicode16.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <boost/numeric/conversion/converter_policies.hpp>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using services::io::detail::findTabAndBackspace;
using services::io::detail::skipPlainUnits;

typedef std::basic_string<unsigned short> UString;

struct UvFreer {
    void operator()(void* p) const { uvFree(p); }
};
typedef std::unique_ptr<unsigned short, UvFreer> UnitsPtr;

bool isLineEnd(unsigned short c) { return c == '\n' || c == '\r'; }

inline bool isBreakable(unsigned short c) { return qzu_isbreakablespace(c); }

void printUnchanged(unsigned short const* text, size_t length) {
    std::string const narrow = fd::i18n::to_string(UString(text, text + length));
    uvPrintf("%s", narrow.c_str());
}

// Removes every character that a backspace deletes: each character followed
// by a backspace goes with it, over and over, so "ab\b\b" leaves nothing and
// a backspace with nothing left before it stays. This is the result of
// replacing the pattern "a character other than a backspace, then a
// backspace" by nothing until it no longer matches (the removals cannot
// overlap, so their order does not matter), reached in one pass instead of
// one pass per removal. A surrogate pair is one character. Returns the new
// length.
size_t removeBackspacedUnits(unsigned short* text, size_t length) {
    size_t kept = 0;
    for (size_t i = 0; i < length; ++i) {
        unsigned short const c = text[i];
        if (c != '\b' || kept == 0 || text[kept - 1] == '\b') {
            text[kept++] = c;
            continue;
        }
        --kept;
        bool const trail = text[kept] >= 0xDC00 && text[kept] <= 0xDFFF;
        if (trail && kept > 0 && text[kept - 1] >= 0xD800 && text[kept - 1] <= 0xDBFF) --kept;
    }
    if (kept < length) text[kept] = 0;
    return kept;
}

// The scanner's output: units are staged, converted to the native encoding in
// batches and handed to CXOut in chunks, so a long message needs neither a
// second copy of itself nor one large allocation. The line feed that ends a
// line is held back until more follows, because the end of the scan may take
// the last one back.
class WrappedOutput {
public:
    WrappedOutput() : converter_(std::string(), true) {}

    void units(unsigned short const* p, size_t count) {
        releaseLineFeed();
        while (count > 0) {
            size_t const n = std::min(count, kStage - staged_);
            std::memcpy(stage_ + staged_, p, n * sizeof(unsigned short));
            staged_ += n;
            p += n;
            count -= n;
            if (staged_ == kStage) convertStage(false);
        }
    }
    void blanks(size_t count) {
        static unsigned short const kBlanks[16] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ',
                                                   ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
        while (count > 0) {
            size_t const n = std::min<size_t>(count, 16);
            units(kBlanks, n);
            count -= n;
        }
    }
    void lineFeed() {
        releaseLineFeed();
        heldLineFeed_ = true;
        empty_ = false;
    }
    bool empty() const { return empty_; }
    // Takes back the line feed of the last line.
    void dropLastLineFeed() { heldLineFeed_ = false; }
    // Writes what is left.
    void finish() {
        releaseLineFeed();
        convertStage(true);
        flushNarrow();
    }

private:
    static size_t const kStage = 4096;

    void releaseLineFeed() {
        if (!heldLineFeed_) return;
        heldLineFeed_ = false;
        if (staged_ == kStage) convertStage(false);
        stage_[staged_++] = '\n';
        if (staged_ == kStage) convertStage(false);
    }

    // Converts the staged units. A lead surrogate at the end of a batch waits
    // for the next one, so that a pair is never split between batches.
    void convertStage(bool last) {
        size_t count = staged_;
        bool const holdLead = !last && count > 0 && stage_[count - 1] >= 0xD800 && stage_[count - 1] <= 0xDBFF;
        if (holdLead) --count;
        unsigned short const* from = stage_;
        unsigned short const* const end = stage_ + count;
        while (from < end || count == 0) {
            char* to = narrow_ + narrowed_;
            int const full = converter_(from, end, to, narrow_ + sizeof narrow_);
            narrowed_ = static_cast<size_t>(to - narrow_);
            if (full == 0) break;
            flushNarrow();
        }
        if (holdLead) stage_[0] = stage_[staged_ - 1];
        staged_ = holdLead ? 1 : 0;
        if (narrowed_ > sizeof narrow_ / 2) flushNarrow();
    }

    void flushNarrow() {
        if (narrowed_ > 0) uvPutsn(0, narrow_, narrowed_);
        narrowed_ = 0;
    }

    fd::i18n::stream_codecvt_ustring_to_string converter_;
    unsigned short stage_[kStage];
    size_t staged_ = 0;
    char narrow_[4 * kStage];
    size_t narrowed_ = 0;
    bool heldLineFeed_ = false;
    bool empty_ = true;
};

// The scanner. Columns are signed so that a window of no columns (limit -1)
// makes every unit overflow rather than none.
class WrapScanner {
public:
    WrapScanner(unsigned short const* text, size_t length, long limit, long tabWidth, bool hotLinks)
        : text_(text), length_(length), limit_(limit), tabWidth_(tabWidth), hotLinks_(hotLinks) {}

    // Writes the wrapped text through `out`.
    void run(WrappedOutput& out) {
        out_ = &out;
        if (hotLinks_) findLink(0);
        for (pos_ = 0; pos_ < length_; ++pos_) {
            unsigned short const c = text_[pos_];
            if (!isBreakable(c)) {
                if (takeFittingRun()) continue;
                nonBreakUnit(c);
            } else if (isLineEnd(c)) {
                lineEnd();
            } else {
                otherBreakable(c);
            }
            checkOverflow(c);
        }
        finish();
        out.finish();
    }

private:
    bool breakableAt(size_t i) const { return i < length_ && isBreakable(text_[i]); }

    // Seeks the next hot link from `from`; none when no link follows.
    void findLink(size_t from) {
        haveMatch_ = findHotLink(text_, length_, from, link_);
        token_ = 0;
        awaitTag();
    }

    // Where the awaited tag starts (token 0 the opening tag, 2 the closing
    // one), looked up once per tag rather than at every unit.
    void awaitTag() {
        size_t const count = token_ == 0 ? link_.openLength : link_.closeLength;
        if (haveMatch_ && count > 0) {
            awaitedStart_ = token_ == 0 ? link_.openStart : link_.closeStart;
            awaitedLength_ = count;
        } else {
            awaitedStart_ = kNowhere;
        }
    }

    // If the awaited tag of the current link starts at pos_, moves pos_ to
    // the tag's last unit and returns true.
    bool skipTag() {
        if (pos_ != awaitedStart_) return false;
        pos_ = awaitedStart_ + awaitedLength_ - 1;
        if (token_ == 0) {
            token_ = 2;
            awaitTag();
        } else {
            findLink(pos_);
        }
        return true;
    }

    // The usual case of a unit inside a word: it only takes a column. A run
    // of such units, as far as they still fit on the line and no tag or
    // backspace comes, is taken at once: each would add one to col_ and pass
    // the overflow check, exactly as the unit-by-unit rules do. pos_ ends on
    // the run's last unit. False when the unit at pos_ needs those rules.
    bool takeFittingRun() {
        if (atLineHead_) return false;
        long const room = limit_ - curIndent_ - col_;
        if (room <= 0) return false;
        // A tag that starts behind pos_ is never met again by the rules.
        size_t const tagStart = awaitedStart_ >= pos_ ? awaitedStart_ : kNowhere;
        size_t const limitEnd = std::min({length_, tagStart, pos_ + static_cast<size_t>(room)});
        size_t end = pos_;
        for (;;) {
            end = skipPlainUnits(text_, end, limitEnd);
            if (end >= limitEnd || text_[end] == '\b' || isBreakable(text_[end])) break;
            ++end;  // a control character or a high unit that does not break
        }
        if (end == pos_) return false;
        col_ += static_cast<long>(end - pos_);
        pos_ = end - 1;
        return true;
    }

    void nonBreakUnit(unsigned short c) {
        if (atLineHead_) {
            atLineHead_ = false;
            indent_ = col_;
        }
        if (skipTag()) return;
        if (c != '\b') ++col_;
    }

    // A break point at a line end, or where an over-long word ends.
    void breakAsLineEnd() {
        bool const keep = haveBreak_ && pos_ != 0 && breakableAt(pos_ - 1);
        if (!keep) breakEnd_ = pos_;
        colAtBreak_ = col_;
        breakPos_ = pos_;
    }

    void lineEnd() {
        if (atLineHead_) {
            atLineHead_ = false;
            breakPos_ = pos_;
            col_ = 0;
            indent_ = 0;
            breakEnd_ = lineStart_;
        } else {
            breakAsLineEnd();
        }
        haveBreak_ = true;
        writeLine();
        curIndent_ = 0;
        atLineHead_ = true;
    }

    void otherBreakable(unsigned short c) {
        if (c == '\t') col_ = (col_ / tabWidth_ + 1) * tabWidth_;
        else if (c == ' ') ++col_;
        if (atLineHead_) return;
        // A run of blanks is not counted to the line: the break keeps the
        // end of the text before the run.
        if (!haveBreak_ || !breakableAt(pos_ - 1)) breakEnd_ = pos_;
        haveBreak_ = true;
        colAtBreak_ = col_;
        breakPos_ = pos_;
    }

    void writeLine() {
        out_->blanks(static_cast<size_t>(curIndent_));
        if (breakEnd_ > lineStart_) out_->units(text_ + lineStart_, breakEnd_ - lineStart_);
        out_->lineFeed();
        lineStart_ = breakPos_ + 1;
        haveBreak_ = false;
        breakEnd_ = 0;
        breakPos_ = 0;
        col_ -= colAtBreak_;
        colAtBreak_ = 0;
    }

    // Moves pos_ over the breakable units that follow it, ending on a line
    // end or the last unit, so that the blanks at a break vanish and a line
    // end right after them gives no further empty line.
    void swallowBlankRun() {
        while (breakableAt(pos_ + 1)) {
            ++pos_;
            if (isLineEnd(text_[pos_])) break;
        }
        breakPos_ = pos_;
    }

    // A word that does not fit even on a line of its own stays whole: runs on
    // to the next breakable unit (or the end) without counting, breaks there.
    void takeWordWhole() {
        while (pos_ < length_ && !isBreakable(text_[pos_])) {
            skipTag();  // a tag inside the word is passed over whole
            ++pos_;
        }
        breakAsLineEnd();
        swallowBlankRun();
        writeLine();
    }

    void checkOverflow(unsigned short c) {
        if (limit_ >= col_ + curIndent_) return;
        if (haveBreak_) {
            if (isBreakable(c) && !isLineEnd(c)) swallowBlankRun();
            writeLine();
        } else if (!atLineHead_) {
            ++pos_;
            takeWordWhole();
        } else {
            atLineHead_ = false;
            haveBreak_ = true;
            col_ = 0;
            breakEnd_ = lineStart_;
            indent_ = 0;
            swallowBlankRun();
            if (pos_ + 1 >= length_ || isLineEnd(text_[pos_])) {
                writeLine();
            } else {
                ++pos_;
                takeWordWhole();
            }
        }
        curIndent_ = indent_;
    }

    void finish() {
        if (col_ == 0) {
            if (!atLineHead_ && !out_->empty()) out_->dropLastLineFeed();
            return;
        }
        out_->blanks(static_cast<size_t>(curIndent_));
        size_t const end = pos_ < length_ ? pos_ : length_;
        if (end > lineStart_) out_->units(text_ + lineStart_, end - lineStart_);
    }

    unsigned short const* const text_;
    size_t const length_;
    long const limit_;
    long const tabWidth_;
    bool const hotLinks_;

    size_t pos_ = 0;
    size_t lineStart_ = 0;
    long col_ = 0;
    bool haveBreak_ = false;
    size_t breakEnd_ = 0;
    size_t breakPos_ = 0;
    long colAtBreak_ = 0;
    bool atLineHead_ = true;
    long indent_ = 0;
    long curIndent_ = 0;
    HotLinkTags link_;
    bool haveMatch_ = false;
    size_t token_ = 0;
    static size_t const kNowhere = ~size_t(0);
    size_t awaitedStart_ = kNowhere;
    size_t awaitedLength_ = 0;
    WrappedOutput* out_ = nullptr;
};

long lineLimit() {
    size_t const real = ioGetRealNumWindowColumns();
    if (ioGetUseEightyColumns() && real >= 81) return 80;
    return static_cast<long>(real) - 1;
}

} // namespace

void ioPrintWrapped(unsigned short const* text, size_t length, bool braces) {
    if (text == nullptr) length = 0;
    if (!needsFormattingForDisplay()) {
        printUnchanged(text, length);
        uvPrintf("\n");
        return;
    }
    uvPrintf(braces ? "{\b" : "[\b");
    char const* const endMarker = braces ? "}\b \n" : "]\b \n";
    if (!WrappingFeatureRegistration::enabled || !WrappingFeatureRegistration::featured) {
        printUnchanged(text, length);
        uvPrintf("%s", endMarker);
        return;
    }
    if (length > 0x7fffffffu) throw boost::numeric::positive_overflow();

    // One pass finds both the tabs and the backspaces.
    bool hasTab = false, hasBackspace = false;
    findTabAndBackspace(text, length, hasTab, hasBackspace);
    long const tabWidth =
        hasTab ? services::io::detail::commandWindowTabWidth() : services::io::detail::kDefaultTabWidth;

    UnitsPtr copy;
    if (hasBackspace) {
        copy.reset(static_cast<unsigned short*>(uvMallocWithCheck((length + 1) * sizeof(unsigned short))));
        std::memcpy(copy.get(), text, length * sizeof(unsigned short));
        copy.get()[length] = 0;
        length = removeBackspacedUnits(copy.get(), length);
        text = copy.get();
    }

    {
        std::unique_ptr<WrappedOutput> out(new WrappedOutput);
        WrapScanner(text, length, lineLimit(), tabWidth, uvGetHotLinks()).run(*out);
    }
    copy.reset();
    uvPrintf("%s", endMarker);
}

void ioPrintWrapped(char const* text, bool braces) {
    if (text == nullptr) return;
    UnitsPtr wide(lcp_to_utf16(text));
    if (!wide) vxErrMsg(17);
    long const length = utf16_strlen(wide.get());
    if (length < 0) throw boost::numeric::negative_overflow();
    ioPrintWrapped(wide.get(), static_cast<size_t>(length), braces);
}
