// Texts in the user's language.
#pragma once

#include <QTranslator>

/// Loads "FOLDER/NAME_LANGUAGE.qm" for the first of the user's languages alone: who prefers English
/// has it, although there is no file of it, and a second language there is. False for none.
bool loadTranslation(QTranslator& translator, const QString& name, const QString& folder);
/// Puts such a file, where there is one, to use until the program ends. Main thread.
void installTranslation(const QString& name, const QString& folder);
