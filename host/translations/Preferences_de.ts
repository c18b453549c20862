<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>About</name>
    <message>
        <source>Help and About</source>
        <translation>Hilfe und Info</translation>
    </message>
    <message>
        <source>not installed</source>
        <translation>nicht installiert</translation>
    </message>
    <message>
        <source>The switch turns the network client on, now and at every login, and off again. The other controls say how it updates, shows itself and connects. Every change counts at once.

Tab goes from control to control, and the space bar presses. Ctrl+W, Ctrl+Q and Escape close a window of its own; a start or stop under way comes to its end.

Settings application: %1
Pane: %2
Client: %3</source>
        <translation>Der Schalter schaltet den Netzwerk-Client ein, jetzt und bei jeder Anmeldung, und wieder aus. Die übrigen Bedienelemente sagen, wie er sich aktualisiert, zeigt und verbindet. Jede Änderung gilt sofort.

Die Tabulatortaste führt von einem Bedienelement zum nächsten, und die Leertaste drückt es. Strg+W, Strg+Q und Escape schließen ein eigenes Fenster; ein Start oder Ende, das im Gange ist, wird noch abgeschlossen.

Einstellungsprogramm: %1
Einstellungsseite: %2
Client: %3</translation>
    </message>
</context>
<context>
    <name>LogWindow</name>
    <message>
        <source>Log of the Settings Window</source>
        <translation>Protokoll des Einstellungsfensters</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Save As...</source>
        <translation>Speichern unter...</translation>
    </message>
    <message>
        <source>Lines: %1</source>
        <translation>Zeilen: %1</translation>
    </message>
    <message>
        <source>Nothing has been written to the log yet.</source>
        <translation>Im Protokoll steht noch nichts.</translation>
    </message>
    <message>
        <source>Saved as %1</source>
        <translation>Gespeichert als %1</translation>
    </message>
    <message>
        <source>Not saved as %1: %2</source>
        <translation>Nicht gespeichert als %1: %2</translation>
    </message>
</context>
<context>
    <name>MessageBar</name>
    <message>
        <source>Show Log</source>
        <translation>Protokoll zeigen</translation>
    </message>
</context>
<context>
    <name>Trouble</name>
    <message>
        <source>There is no session bus, so nothing can be heard from %1. Log out and in again; if that does not help, install dbus-user-session.</source>
        <translation>Es gibt keinen Sitzungsbus, daher ist von %1 nichts zu hören. Melden Sie sich ab und wieder an; hilft das nicht, installieren Sie dbus-user-session.</translation>
    </message>
    <message>
        <source>polkit is missing, so nobody can give the administrator rights that turning %1 on or off takes. Install pkexec and polkitd.</source>
        <translation>polkit fehlt, daher kann niemand die Verwaltungsrechte geben, die das Ein- und Ausschalten von %1 braucht. Installieren Sie pkexec und polkitd.</translation>
    </message>
    <message>
        <source>%1 is not installed. It is looked for in %2. Put it there, then turn the switch on.</source>
        <translation>%1 ist nicht installiert. Gesucht wird es in %2. Legen Sie es dorthin und schalten Sie es dann ein.</translation>
    </message>
    <message>
        <source> and in </source>
        <comment>between two folders</comment>
        <translation> und in </translation>
    </message>
    <message>
        <source>%1 is turned on, but its program %2 is missing. Install it again, or turn the switch off.</source>
        <translation>%1 ist eingeschaltet, aber sein Programm %2 fehlt. Installieren Sie es neu oder schalten Sie es aus.</translation>
    </message>
    <message>
        <source>%1 cannot stay up: it ended %2, and is started again from time to time. Install it again, or turn the switch off.</source>
        <translation>%1 läuft nicht dauerhaft: Es endete %2 und wird von Zeit zu Zeit neu gestartet. Installieren Sie es neu oder schalten Sie es aus.</translation>
    </message>
    <message>
        <source>with status %1</source>
        <translation>mit dem Status %1</translation>
    </message>
    <message>
        <source>by signal %1</source>
        <translation>durch das Signal %1</translation>
    </message>
    <message>
        <source>%1 has ended; the status below is the last that it told. Turn the switch off and on to start it again.</source>
        <translation>%1 ist beendet; der Status unten ist der letzte, den es gemeldet hat. Schalten Sie es aus und ein, um es neu zu starten.</translation>
    </message>
    <message>
        <source>%1 is turned on for this computer, but is not started in this login. Turn the switch on, or log in again.</source>
        <translation>%1 ist für diesen Rechner eingeschaltet, aber in dieser Anmeldung nicht gestartet. Schalten Sie es ein oder melden Sie sich neu an.</translation>
    </message>
    <message>
        <source>%1 is turned on for this computer, but is not started: %2</source>
        <translation>%1 ist für diesen Rechner eingeschaltet, wird aber nicht gestartet: %2</translation>
    </message>
    <message>
        <source>%1 still runs in this login, although it has been turned off for this computer.</source>
        <translation>%1 läuft in dieser Anmeldung noch, obwohl es für diesen Rechner ausgeschaltet wurde.</translation>
    </message>
</context>
<context>
    <name>TroubleWatch</name>
    <message>
        <source>End %1</source>
        <translation>%1 beenden</translation>
    </message>
</context>
<context>
    <name>WindowManners</name>
    <message>
        <source>&amp;Help and About</source>
        <translation>&amp;Hilfe und Info</translation>
    </message>
    <message>
        <source>&amp;Close</source>
        <translation>S&amp;chließen</translation>
    </message>
</context>
</TS>
