#include "hostile_frames.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "steps.h"

static constexpr size_t HEADER = 17; // addresses, length, LLC

static Bytes framed(const Bytes& bpdu) {
    Bytes frame = {0x01, 0x80, 0xC2, 0, 0, 0, 0x02, 0, 0, 0, 0, 0x03, 0, 0, 0x42, 0x42, 0x03};
    frame[12] = static_cast<uint8_t>((bpdu.size() + 3) >> 8);
    frame[13] = static_cast<uint8_t>(bpdu.size() + 3);
    frame.insert(frame.end(), bpdu.begin(), bpdu.end());
    return frame;
}

// The frames of an input of the fuzzer that listens to whole conversations.
static void addConversation(const Bytes& input, std::set<Bytes>* frames) {
    steps::Reader reader(input.data(), input.size());
    while (!reader.done()) {
        const uint8_t first = reader.byte();
        if (first < steps::FIRST_SETTING) {
            const uint32_t high = reader.byte();
            frames->insert(reader.bytes(high << 8 | reader.byte()));
        } else if (first < steps::FIRST_WAIT) {
            reader.bytes(3);
        }
    }
}

// Every BPDU of the fuzzing corpora.
static std::set<Bytes> corpusFrames() {
    std::set<Bytes> frames;
    for (const std::string fuzzer : {"fuzz_parse", "fuzz_legacy", "fuzz_input"}) {
        for (const auto& entry : std::filesystem::directory_iterator(MSTP_CORPUS "/" + fuzzer)) {
            std::ifstream file(entry.path(), std::ios::binary);
            const Bytes bytes{std::istreambuf_iterator<char>(file),
                              std::istreambuf_iterator<char>()};
            if (fuzzer == "fuzz_input") {
                addConversation(bytes, &frames);
            } else {
                frames.insert(framed(bytes));
            }
        }
    }
    return frames;
}

// IEEE 802.1D-2004 9.3.4: whether a bridge has to take it for a BPDU.
static bool isValid(const Bytes& frame) {
    if (frame.size() < HEADER + 4 || frame[HEADER] != 0 || frame[HEADER + 1] != 0) {
        return false;
    }
    const size_t length = frame.size() - HEADER;
    switch (frame[HEADER + 3]) {
    case 0x80:
        return true;
    case 0x00:
        return length >= 35;
    case 0x02:
        return length >= 36 && frame[HEADER + 2] >= 2;
    default:
        return false;
    }
}

std::vector<Bytes> validFrames() {
    std::vector<Bytes> valid;
    for (const Bytes& frame : corpusFrames()) {
        if (isValid(frame)) {
            valid.push_back(frame);
        }
    }
    return valid;
}

std::vector<Bytes> onlyRapid(std::vector<Bytes> frames) {
    const auto slow = [](const Bytes& frame) { return frame[HEADER + 3] != 0x02; };
    frames.erase(std::remove_if(frames.begin(), frames.end(), slow), frames.end());
    return frames;
}

std::vector<Bytes> worseStp(std::vector<Bytes> frames) {
    const auto rapid = [](const Bytes& frame) { return frame[HEADER + 3] == 0x02; };
    frames.erase(std::remove_if(frames.begin(), frames.end(), rapid), frames.end());
    for (Bytes& frame : frames) {
        if (frame.size() > HEADER + 5) {
            frame[HEADER + 5] = 0xF0; // priority of the root
        }
    }
    return frames;
}

std::vector<Bytes> invalidFrames() {
    std::set<Bytes> invalid;
    const auto add = [&](Bytes frame, size_t offset, uint8_t value) {
        frame.at(offset) = value;
        invalid.insert(std::move(frame));
    };
    for (const Bytes& frame : corpusFrames()) {
        if (!isValid(frame)) {
            invalid.insert(frame);
            continue;
        }
        add(frame, 5, 0x0E);          // destination
        add(frame, 14, 0x43);         // LLC
        add(frame, HEADER + 1, 0x01); // protocol identifier
        add(frame, HEADER + 3, 0x03); // type
        for (size_t cut = 14; cut < frame.size(); cut++) {
            const Bytes part(frame.begin(), frame.begin() + static_cast<ptrdiff_t>(cut));
            if (!isValid(part)) {
                invalid.insert(part);
            }
        }
    }
    return {invalid.begin(), invalid.end()};
}
