#include <engine/catalog/PrivateFolder.h>

#include <zel/foundation/System.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace engine {

namespace fs = std::filesystem;

PrivateFolder::PrivateFolder()
{
    std::error_code error;
    m_path = (fs::temp_directory_path(error) / "krel5-engine-XXXXXX").string();
    if (error || !::mkdtemp(m_path.data())) {
        m_problem = m_path + ": " + zel::System::errorText(error ? error.value() : errno).toUtf8();
        m_path.clear();
    }
}

PrivateFolder::~PrivateFolder()
{
    std::error_code ignored;
    if (!m_path.empty())
        fs::remove_all(m_path, ignored);
}

} // namespace engine
