#pragma once

/// What can be set, by the names that a network engineer would guess. One row a setting: the name,
/// where it goes, what it takes. Help texts, checks and error messages all come from the rows.

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "daemon.h"

/// The request is not one: the text says which rule it breaks.
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

enum class Object { Bridge, Region, Port, Instance, InstancePort };

enum class Kind {
    Number,  ///< minimum..maximum in steps
    Seconds, ///< minimum..maximum, sent in hundredths
    OnOff,
    Word, ///< one of `words`; its place, counted from minimum, is sent
    Text, ///< up to maximum characters
    Mac,
};

struct Setting {
    Object object;
    const char* name;
    uint32_t attribute;
    Kind kind;
    uint32_t minimum;
    uint32_t maximum;
    uint32_t step;
    std::vector<const char*> words;
    const char* help;
};

const std::vector<Setting>& settings();

/// "forward-delay  4-30 seconds  time that ..." for each setting of @p object.
std::string settingsHelp(Object object);

/// Checks @p value against the setting's row and sends it. Throws Refused.
void applySetting(const Daemon& daemon, Object object, const Keys& keys, const std::string& name,
                  const std::string& value);

/// "+10-19,100" adds VLANs to an instance, "-100" removes them, "10-19" makes it exactly these.
void applyVlans(const Daemon& daemon, uint32_t instance, const std::string& text);

/// Throws Refused with @p what and the reason if @p reply is not a success.
void expectServed(const Reply& reply, const std::string& what);
