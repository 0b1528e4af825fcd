#pragma once

/// The daemon as the client sees it: one request and one reply per connection.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// The daemon cannot be reached or does not answer; the text says what to do about it.
class Unreachable : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The keys of an object: none for the bridge, a port's unit, an instance, or instance and unit.
using Keys = std::vector<uint32_t>;

struct Reply {
    int32_t result = -1;           ///< 0 = served
    std::vector<uint32_t> numbers; ///< the value, or the keys that a walk found
    std::vector<uint8_t> octets;
};

class Daemon {
  public:
    /// @param runFolder  where the daemon's socket lies
    explicit Daemon(std::string runFolder) : m_runFolder(std::move(runFolder)) {}
    virtual ~Daemon() = default;
    Daemon(const Daemon&) = default;
    Daemon& operator=(const Daemon&) = default;

    /// --run-dir, else MSTP_RUN_DIR, else /tmp.
    static std::string defaultRunFolder();

    Reply getNumber(uint32_t selector, const Keys& keys, uint32_t attribute) const;
    Reply getOctets(uint32_t selector, const Keys& keys, uint32_t attribute) const;
    Reply setNumber(uint32_t selector, const Keys& keys, uint32_t attribute, uint32_t value) const;
    Reply setOctets(uint32_t selector, const Keys& keys, uint32_t attribute,
                    const std::vector<uint8_t>& value) const;

    /// A step of a table walk: the first keys, or those after @p keys. @p count keys come back.
    Reply walk(uint32_t selector, const Keys& keys, uint32_t count) const;

    /// A request as it was recorded. @return its result; -1 too if the daemon does not understand
    /// it
    int32_t replay(const std::vector<uint8_t>& request) const;

    std::string socketPath() const { return m_runFolder + "/mstpCmd.socket"; }

  protected:
    /// Sends a message and waits for the reply. @throws Unreachable
    virtual std::vector<uint8_t> exchange(const std::vector<uint8_t>& message) const;

  private:
    Reply request(uint32_t selector, const Keys& keys, uint32_t attribute, uint8_t type,
                  const std::vector<uint8_t>& value) const;

    std::string m_runFolder;
};
