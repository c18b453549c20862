#include "AppKit/Translation.h"

#include <QLocale>

bool loadTranslation(QTranslator& translator, const QString& name, const QString& folder) {
    const QStringList languages = QLocale().uiLanguages();
    return !languages.isEmpty() && translator.load(QLocale(languages.first()), name, "_", folder);
}
