#include <engine/runner/ExitStatus.h>

#include <zel/model/vocabulary/TestResultImp.h>

namespace engine {

int exitStatusOf(Grade grade)
{
    using zel::TestResultImp;
    switch (grade) {
    case Grade::Passed:
        return TestResultImp::PASS().value();
    case Grade::NotTested:
        return TestResultImp::CANNOTRUN().value();
    case Grade::Warned:
        return TestResultImp::WARN().value();
    case Grade::Stopped:
        return TestResultImp::USERABORTED().value();
    case Grade::Broken:
        return TestResultImp::INTERNALERROR().value();
    case Grade::Failed:
        return TestResultImp::FAIL().value();
    }
    return TestResultImp::INTERNALERROR().value();
}

} // namespace engine
