#include "AppKit/Translation.h"

#include <QCoreApplication>
#include <QLocale>

bool loadTranslation(QTranslator& translator, const QString& name, const QString& folder) {
    const QStringList languages = QLocale().uiLanguages();
    return !languages.isEmpty() && translator.load(QLocale(languages.first()), name, "_", folder);
}

void installTranslation(const QString& name, const QString& folder) {
    auto* words = new QTranslator(QCoreApplication::instance());
    if (loadTranslation(*words, name, folder)) {
        QCoreApplication::installTranslator(words);
    }
}
