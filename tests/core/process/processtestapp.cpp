// The child the process tests run: one behaviour per mode, chosen by argv[1]. Output goes out with
// write(2) and nothing else, so each piece reaches the pipe exactly when and how the test asks.
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

void put(int fd, const std::string &text)
{
    for (size_t done = 0; done < text.size();) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n <= 0)
            std::exit(99);
        done += size_t(n);
    }
}

void out(const std::string &text) { put(1, text); }

[[noreturn]] void waitForever()
{
    for (;;)
        ::pause();
}

volatile sig_atomic_t interrupted = 0;

} // namespace

int main(int argc, char **argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    const std::string arg = argc > 2 ? argv[2] : "";
    const long n = std::atol(arg.c_str());

    if (mode == "echo") { // standard input back, until end of file
        char buffer[4096];
        for (ssize_t got; (got = ::read(0, buffer, sizeof buffer)) > 0;)
            out(std::string(buffer, size_t(got)));
    } else if (mode == "lines") {
        std::string all;
        for (long i = 1; i <= n; ++i)
            all += "line " + std::to_string(i) + "\n";
        out(all);
    } else if (mode == "huge") { // one line of n bytes, then a normal one
        out(std::string(size_t(n), 'x') + "\nafter\n");
    } else if (mode == "utf8") { // "héllo ✓ 😀", every piece but the last ending inside a character
        for (const char *piece : {"h\xc3", "\xa9llo \xe2", "\x9c", "\x93 \xf0\x9f", "\x98", "\x80\n"}) {
            out(piece);
            ::usleep(30000);
        }
    } else if (mode == "crlf") {
        out("one\r\ntwo\r\n\r\nthree\r\n");
    } else if (mode == "bytes") { // not UTF-8, and a NUL
        out(std::string("\xff\xfe\0\x80 raw\n", 9));
    } else if (mode == "stderr") { // n bytes of "é" pairs, then END
        std::string text;
        for (long i = 0; i < n / 2; ++i)
            text += "\xc3\xa9";
        put(2, text + "END");
    } else if (mode == "exit") { // a last line without newline, a moment later than the first
        out("first\n");
        ::usleep(50000);
        out("last words");
        return int(n);
    } else if (mode == "crash") {
        out("partial");
        std::abort();
    } else if (mode == "ignoreterm") {
        std::signal(SIGTERM, SIG_IGN);
        out("ready\n");
        waitForever();
    } else if (mode == "sigint") {
        std::signal(SIGINT, [](int) { interrupted = 1; });
        out("ready\n");
        while (!interrupted)
            ::pause();
        out("interrupted\n");
    } else if (mode == "grandchild") { // "stay": wait with it; "leave": exit and leave it behind
        const pid_t child = ::fork();
        if (child == 0)
            waitForever();
        out(std::to_string(child) + "\n");
        if (arg == "stay")
            waitForever();
    } else if (mode == "env") {
        const char *value = std::getenv(arg.c_str());
        out(value ? value : "(unset)");
    } else if (mode == "pwd") {
        char path[4096];
        out(::getcwd(path, sizeof path) ? path : "?");
    } else {
        put(2, "unknown mode: " + mode + "\n");
        return 2;
    }
    return 0;
}
