<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>PaneView</name>
    <message>
        <source>Network Client</source>
        <translation>Netzwerk-Client</translation>
    </message>
    <message>
        <source>Off</source>
        <translation>Aus</translation>
    </message>
    <message>
        <source>Turns the client on and off for every user of this computer</source>
        <translation>Schaltet den Client für alle Benutzer dieses Rechners ein und aus</translation>
    </message>
    <message>
        <source>Network client</source>
        <translation>Netzwerk-Client</translation>
    </message>
    <message>
        <source>On</source>
        <translation>Ein</translation>
    </message>
    <message>
        <source>Working</source>
        <translation>In Arbeit</translation>
    </message>
    <message>
        <source>Client</source>
        <translation>Client</translation>
    </message>
    <message>
        <source>Check for &amp;updates automatically</source>
        <translation>Automatisch nach &amp;Aktualisierungen suchen</translation>
    </message>
    <message>
        <source>Do not show update &amp;dialogs</source>
        <translation>Keine Aktualisierungs&amp;dialoge zeigen</translation>
    </message>
    <message>
        <source>Show the &amp;icon in the menu bar</source>
        <translation>&amp;Symbol in der Menüleiste zeigen</translation>
    </message>
    <message>
        <source>Accept &amp;maintenance requests</source>
        <translation>&amp;Wartungsanfragen annehmen</translation>
    </message>
    <message>
        <source>Network</source>
        <translation>Netzwerk</translation>
    </message>
    <message>
        <source>I&amp;nterface:</source>
        <translation>Sch&amp;nittstelle:</translation>
    </message>
    <message>
        <source>Network interface</source>
        <translation>Netzwerkschnittstelle</translation>
    </message>
    <message>
        <source>Custom &amp;port:</source>
        <translation>Eigener &amp;Port:</translation>
    </message>
    <message>
        <source>Port number</source>
        <translation>Portnummer</translation>
    </message>
    <message>
        <source>Turn &amp;Bonjour off</source>
        <translation>&amp;Bonjour abschalten</translation>
    </message>
</context>
</TS>
