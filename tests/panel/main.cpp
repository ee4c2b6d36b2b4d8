#include <QApplication>
#include <QLocale>
#include <gtest/gtest.h>
#include <memory>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// The display that nobody sees is never given back by its plugin, which is not ours to judge.
std::unique_ptr<QApplication> MakeApplication(int &argc, char **argv)
{
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler disabled;
#endif
    return std::make_unique<QApplication>(argc, argv);
}

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    const std::unique_ptr<QApplication> application = MakeApplication(argc, argv);
    QLocale::setDefault(QLocale::c());
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
