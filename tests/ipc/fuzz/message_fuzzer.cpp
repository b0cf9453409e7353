// Whatever comes through the socket: the reader of frames finds the same frames in any pieces, and a payload is a message,
// which reads again as the same, or is refused. The first byte says which; begins with messages of every kind.
#include <ipc/RandomMessage.h>

#include <zel/ipc/Frame.h>
#include <zel/model/wire/Serializable.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace zel;

// Of the fuzzing engine; it changes the bytes in place and gives their new number.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

std::vector<int> const& codes()
{
    static std::vector<int> const s_codes = test::allTypeCodes();
    return s_codes;
}

// All frames, and how the stream ended.
std::string framesOf(std::string_view stream, std::size_t piece)
{
    FrameReader reader;
    std::string found;
    while (!stream.empty()) {
        std::string const part(stream.substr(0, piece)); // in memory of its own, where an overrun is noticed
        stream.remove_prefix(part.size());
        for (std::string_view bytes = part;;) {
            auto const status = reader.take(bytes);
            if (status == FrameReader::Status::Incomplete)
                break;
            if (status == FrameReader::Status::Malformed)
                return found + "!" + reader.complaint().toUtf8();
            found += std::to_string(reader.typeCode()) + ":" + std::string(reader.payload()) + "|";
        }
    }
    return found;
}

void checkFrames(std::string_view stream)
{
    std::string const whole = framesOf(stream, stream.size());
    for (std::size_t const piece : {1u, 7u, 100u})
        if (framesOf(stream, piece) != whole)
            std::abort();
}

void checkPayload(int code, std::string_view payload)
{
    std::unique_ptr<Message> message;
    try {
        message = Message::deserialize(code, payload);
    } catch (DeserializationException const& e) {
        if (e.offset() > payload.size())
            std::abort();
        return;
    }
    auto const again = Message::deserialize(code, message->serialize());
    if (test::dump(*again) != test::dump(*message)) {
        std::fputs((test::dump(*message) + "\n--- read again\n" + test::dump(*again)).c_str(), stderr);
        std::abort();
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned seed)
{
    constexpr unsigned kFreshOneIn = 50;
    if (size < 2 || seed % kFreshOneIn == 0) {
        std::size_t const kind = seed / kFreshOneIn % (codes().size() + 1);
        auto const message = test::randomMessage(codes()[kind % codes().size()], seed);
        std::string fresh = message->serialize();
        if (kind == codes().size()) { // frames
            FrameHeader header;
            header.typeCode = static_cast<std::uint16_t>(message->typeCode());
            header.payloadSize = static_cast<std::uint32_t>(fresh.size());
            auto const bytes = header.bytes();
            fresh.insert(fresh.begin(), bytes.begin(), bytes.end());
        }
        fresh.insert(fresh.begin(), static_cast<char>(kind));
        if (fresh.size() <= most) {
            std::memcpy(data, fresh.data(), fresh.size());
            size = fresh.size();
        }
    }
    return LLVMFuzzerMutate(data, size, most);
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    if (size == 0)
        return 0;
    std::string_view const rest(reinterpret_cast<char const*>(data) + 1, size - 1);
    std::size_t const kind = data[0] % (codes().size() + 1);
    if (kind == codes().size())
        checkFrames(rest);
    else
        checkPayload(codes()[kind], rest);
    return 0;
}
