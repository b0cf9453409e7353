// Whatever the bytes are, the answer is a state or a refusal, and a state that was read is one that can be written and
// read again; and so it is with the same bytes as a tree of XML. Begins with states that hold every kind of record and goes on from what reaches new code.
#include "../RandomState.h"
#include "../StateDump.h"

#include <zel/foundation/XmlDocument.h>
#include <zel/model/wire/Serializable.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace zel;

// Of the fuzzing engine; it changes the bytes in place and gives their new number.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

// Whether the bytes are XML.
bool checkTree(std::string_view document)
{
    XmlElement root;
    try {
        root = XmlDocument::parse(document);
    } catch (ParseException const&) {
        return false;
    }
    std::string const text = XmlDocument::print(root);
    if (XmlDocument::print(XmlDocument::parse(text)) != text)
        std::abort();
    return true;
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned seed)
{
    constexpr unsigned kFreshOneIn = 50;
    if (size < 2 || seed % kFreshOneIn == 0) {
        test::RandomState fresh(seed);
        std::string const document = Serializable::serializeUtf8(fresh.state(), "StateManager");
        if (document.size() <= most) {
            std::memcpy(data, document.data(), document.size());
            size = document.size();
        }
    }
    return LLVMFuzzerMutate(data, size, most);
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    std::string_view const document(reinterpret_cast<char const*>(data), size);
    bool const isXml = checkTree(document);
    StateManager state, again;
    try {
        Serializable::deserializeUtf8(document, state);
    } catch (DeserializationException const& e) {
        if (!state.isEmpty() || e.offset() > size)
            std::abort();
        return 0;
    }
    if (!isXml)
        std::abort();
    Serializable::deserializeUtf8(Serializable::serializeUtf8(state, "StateManager"), again);
    if (test::dump(again) != test::dump(state)) {
        std::fputs((test::dump(state) + "\n--- read again\n" + test::dump(again)).c_str(), stderr);
        std::abort();
    }
    return 0;
}
