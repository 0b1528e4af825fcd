#include "file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "settings.h"

static constexpr size_t PIECE = 65536;
static constexpr mode_t FILE_MODE = 0644;

namespace {

class File {
  public:
    explicit File(int fd) : m_fd(fd) {}
    ~File() { close(m_fd); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int fd() const { return m_fd; }

  private:
    int m_fd;
};

[[noreturn]] void fail(const std::string& what, const std::string& path) {
    throw Refused("cannot " + what + " " + path + ": " + strerror(errno));
}

void writeAll(int fd, const std::string& text, const std::string& path) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t count = write(fd, text.data() + done, text.size() - done);
        if (count < 0) {
            fail("write", path);
        }
        done += static_cast<size_t>(count);
    }
}

} // namespace

std::string readFile(const std::string& path, size_t limit) {
    const int fd = path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        fail("read", path);
    }
    const File file(fd);
    std::string text;
    std::string piece(PIECE, '\0');
    ssize_t count = 0;
    while ((count = read(file.fd(), piece.data(), piece.size())) > 0) {
        text.append(piece, 0, static_cast<size_t>(count));
        if (text.size() > limit) {
            throw Refused(path + " has more than " + std::to_string(limit) + " bytes");
        }
    }
    if (count < 0) {
        fail("read", path);
    }
    return text;
}

void replaceFile(const std::string& path, const std::string& text) {
    std::string temporary = path + ".XXXXXX";
    const int fd = mkstemp(temporary.data());
    if (fd < 0) {
        fail("write", path);
    }
    const File file(fd);
    try {
        writeAll(fd, text, path);
        const mode_t mask = umask(0);
        umask(mask);
        if (fchmod(fd, FILE_MODE & ~mask) != 0 || fsync(fd) != 0 ||
            rename(temporary.c_str(), path.c_str()) != 0) {
            fail("write", path);
        }
    } catch (...) {
        unlink(temporary.c_str());
        throw;
    }
}
