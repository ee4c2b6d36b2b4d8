#include "language.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

// Resources of a static library are there once they are asked for, outside of any namespace.
static void MakeTranslationsKnown()
{
#ifdef PARLOWEN_PANEL_HAS_TRANSLATIONS
    Q_INIT_RESOURCE(translations);
#endif
}

void Language::Use(const QLocale &locale)
{
    MakeTranslationsKnown();
    static QTranslator *const texts = new QTranslator(QCoreApplication::instance());
    QCoreApplication::removeTranslator(texts);
    if (texts->load(locale, QStringLiteral("parlowen-panel"), QStringLiteral("_"),
                    QStringLiteral(":/translations"))) {
        QCoreApplication::installTranslator(texts);
    }
    QLocale::setDefault(locale);
}
