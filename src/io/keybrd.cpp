// The terminal keyboard: its modes, the keypad, and function-key codes.
#include "qzservices/io/keybrd.hpp"
#include "qzservices/io/typeahead.hpp"
#include "qzservices/io/window.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fd/diag/terminate.hpp>
#include <map>
#include <string>
#include <term.h>
#include <unistd.h>
#include <uv/uv.hpp>

// term.h defines macros that collide with ordinary names.
#undef lines
#undef columns
#undef tab

namespace {

struct KeyRecord {
    std::string name;
    std::string code;
    std::string longName;
    std::string value;
    std::string unused;  // always empty
    int keyCode;
};

bool needTerminalInit = true;
int terminalFd = 0;
termios* pristineTty = nullptr;  // kept until exit
termios rawTty;
termios savedTty;
int lineProtocol = 1;
char clearSequence[32] = "\x1b[H\x1b[2J";
char homeSequence[32] = "\x1b[H";
char leftSequence[20] = "\b";

std::map<std::string, KeyRecord> keyRecords;
std::map<std::string, std::string> keySequences;
std::map<int, int> keyFirstChars;

struct BuiltinKey {
    char const* name;
    char const* sequence;
    int code;
};

// Installed first, so that a terminal description can override them.
BuiltinKey const kBuiltinKeys[] = {
    {"qz_def_kUP", "\x1b[1;5A", 509},   {"qz_def_kDOWN", "\x1b[1;5B", 509},    {"qz_def_kRIT", "\x1b[1;5C", 508},
    {"qz_def_kLFT", "\x1b[1;5D", 507},  {"qz_def_kich1_sun", "\x1b[2~", 331}, {"qz_def_kdch1_sun", "\x1b[3~", 330},
    {"qz_def_kpp", "\x1b[5~", 339},     {"qz_def_kRIT_2", "\x1b[5C", 508},    {"qz_def_kLFT_2", "\x1b[5D", 507},
    {"qz_def_knp", "\x1b[6~", 338},     {"qz_def_kcuu1", "\x1b[A", 259},      {"qz_def_kcud1", "\x1b[B", 258},
    {"qz_def_kcuf1", "\x1b[C", 261},    {"qz_def_kcub1", "\x1b[D", 260},      {"qz_def_num5", "\x1b[E", 509},
    {"qz_def_kend", "\x1b[F", 360},     {"qz_def_khome", "\x1b[H", 262},      {"qz_def_kich1", "\x1b" "2~", 331},
    {"qz_def_kdch1", "\x1b" "3~", 330}, {"qz_def_num5_2", "\x1bOE", 509},     {"qz_def_kend_2", "\x1bOF", 360},
    {"qz_def_khome_2", "\x1bOH", 262},  {"qz_def_num_cr", "\x1bOM", 13},      {"qz_def_f1", "\x1bOP", 509},
    {"qz_def_f2", "\x1bOQ", 509},       {"qz_def_f3", "\x1bOR", 509},         {"qz_def_f4", "\x1bOS", 509},
    {"qz_def_num_/", "\x1bOo", 509},    {"qz_def_num_*", "\x1bOj", 509},      {"qz_def_num_-", "\x1bOm", 509},
    {"qz_def_num_+", "\x1bOk", 509},    {"qz_def_backspace", "\x7f", 263},
};

int keyCodeOf(std::string const& capability) {
    static std::map<std::string, int> const codes = {
        {"kcud1", 258}, {"kcuu1", 259}, {"kcub1", 260}, {"kcuf1", 261}, {"khome", 262},
        {"kbs", 263},   {"kdch1", 330}, {"kich1", 331}, {"knp", 338},   {"kpp", 339},
        {"kend", 360},  {"kLFT", 507},  {"kRIT", 508},  {"ht", 9},      {"cr", 13},
        {"smkx", 509},  {"rmkx", 509},  {"kcbt", 509},  {"kDC", 509},   {"kEND", 509},
        {"kHOM", 509}};
    auto it = codes.find(capability);
    if (it != codes.end()) return it->second;
    if (capability.compare(0, 2, "kf") == 0) return 509;
    return 510;  // takes no part here
}

bool isRealString(char const* s) { return s != nullptr && s != reinterpret_cast<char const*>(-1); }

// Copies a capability over a fixed buffer; a longer one than fits leaves the
// built-in value, rather than writing past the buffer.
template <size_t N>
void copyCapability(char const* name, char (&buffer)[N]) {
    char const* value = tigetstr(const_cast<char*>(name));
    if (!isRealString(value) || std::strlen(value) >= N) return;
    std::strcpy(buffer, value);
}

void initTerminal() {
    terminalFd = fileno(stdin);
    needTerminalInit = false;
    if (pristineTty == nullptr && isatty(terminalFd)) {
        pristineTty = static_cast<termios*>(uvCallocWithCheck(1, sizeof(termios)));
        while (tcgetattr(terminalFd, pristineTty) != 0) {
            if (errno != EINTR) fd::diag::terminate("tcgetattr (io/keybrd:288)");
        }
        pristineTty->c_lflag |= ISIG | ICANON | ECHO;
        pristineTty->c_iflag &= ~static_cast<tcflag_t>(INLCR);
    }
    tcgetattr(terminalFd, &rawTty);
    tcgetattr(terminalFd, &savedTty);
    char const* term = std::getenv("TERM");
    int error = 0;
    if (setupterm(const_cast<char*>(term ? term : "vt100"), 1, &error) != 0 &&
        setupterm(const_cast<char*>("vt100"), 1, &error) != 0)
        fd::diag::terminate("setupterm failed! (io/keybrd:516)");
    copyCapability("cl", clearSequence);
    copyCapability("ho", homeSequence);
    copyCapability("le", leftSequence);
}

void initIfNeeded() {
    if (needTerminalInit) initTerminal();
}

void store(KeyRecord const& record) {
    auto known = keySequences.find(record.value);
    // The terminal's description wins over a built-in row with the same sequence.
    if (known != keySequences.end() && known->second != record.name) keyRecords.erase(known->second);
    keySequences[record.value] = record.name;
    keyRecords[record.name] = record;
    keyFirstChars[static_cast<unsigned char>(record.value[0])] = static_cast<unsigned char>(record.value[0]);
}

void buildKeyTables() {
    if (!keyRecords.empty()) return;
    for (BuiltinKey const& row : kBuiltinKeys)
        store(KeyRecord{row.name, row.name, row.name, row.sequence, std::string(), row.code});
    for (size_t i = 0; strnames[i] != nullptr; ++i) {
        char const* value = tigetstr(const_cast<char*>(strnames[i]));
        if (!isRealString(value) || *value == '\0') continue;
        int const code = keyCodeOf(strnames[i]);
        if (code == 510) continue;
        store(KeyRecord{strnames[i], strcodes[i] ? strcodes[i] : "", strfnames[i] ? strfnames[i] : "", value,
                        std::string(), code});
    }
}

bool someSequenceBeginsWith(std::string const& prefix) {
    auto it = keySequences.lower_bound(prefix);
    return it != keySequences.end() && it->first.compare(0, prefix.size(), prefix) == 0;
}

} // namespace

void svInitTTY() { initIfNeeded(); }

termios* svGetPristineTTY() {
    initIfNeeded();
    return pristineTty;
}

bool ioIsKeyboard() { return isatty(terminalFd) != 0; }
int ioGetLineProtocol() { return lineProtocol; }
void ioSetLineProtocol(int protocol) { lineProtocol = protocol; }

int ioSetCanonicalMode() {
    initIfNeeded();
    tcsetattr(terminalFd, TCSADRAIN, &savedTty);  // failures are ignored
    lineProtocol = 1;
    return 1;
}

int ioSetNonCanonicalMode() {
    initIfNeeded();
    rawTty.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    rawTty.c_iflag &= ~static_cast<tcflag_t>(ICRNL);
    rawTty.c_cc[VMIN] = 1;
    rawTty.c_cc[VTIME] = 0;
    tcsetattr(terminalFd, TCSADRAIN, &rawTty);
    lineProtocol = 0;
    buildKeyTables();
    return 1;
}

void ioEnableKeypadMode() {
    auto it = keyRecords.find("smkx");
    if (it != keyRecords.end()) std::fputs(it->second.value.c_str(), stdout);
}

void ioDisableKeypadMode() {
    auto it = keyRecords.find("rmkx");
    if (it != keyRecords.end()) std::fputs(it->second.value.c_str(), stdout);
}

void ioSetupLineProtocol() {
    if (!ioIsKeyboard()) return;
    ioSetNonCanonicalMode();
    ioEnableKeypadMode();
    ioUpdateWindowSize();
}

void ioResetLineProtocol() {
    if (!ioIsKeyboard()) return;
    if (lineProtocol == 0) ioSetCanonicalMode();
    ioDisableKeypadMode();
}

int ioGetCharNoEcho(bool useStdin, bool flag) {
    int c = ioGetChar(terminalFd, useStdin, flag);
    if (!ioIsKeyboard() || keyFirstChars.find(c) == keyFirstChars.end()) return c;
    std::string seq(1, static_cast<char>(c));
    bool found = keySequences.count(seq) != 0;
    // No time limit: a lone ESC waits for the key after it.
    while (!found) {
        c = ioGetChar(terminalFd, useStdin, flag);
        if (c == 0) break;
        if (c == EOF) break;  // end of input or a read error: never part of a sequence
        seq += static_cast<char>(c);
        if (keySequences.count(seq) != 0) {
            found = true;
        } else if (!someSequenceBeginsWith(seq)) {
            break;
        }
    }
    if (!found) {
        // Given back last first, so that they come again in order.
        for (size_t i = seq.size(); i-- > 1;) ioPutBackTypeAheadChar(seq[i]);
        return static_cast<signed char>(seq[0]);
    }
    return keyRecords[keySequences[seq]].keyCode;
}

void ioBackspace(int count) {
    if (count < 1 || leftSequence[0] == '\0') return;
    for (int i = 0; i < count; ++i) std::fputs(leftSequence, stdout);
}

void svHomeCursor() {
    std::fputs(homeSequence, stdout);
    std::fflush(stdout);
}

void svClearAlpha() {
    std::fputs(clearSequence, stdout);
    std::fflush(stdout);
}
