<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>FaultListModel</name>
    <message>
        <source>Fault</source>
        <translation>Störung</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>Wert</translation>
    </message>
    <message>
        <source>Where it strikes</source>
        <translation>Wo sie zuschlägt</translation>
    </message>
</context>
<context>
    <name>FileListModel</name>
    <message>
        <source>confirmed</source>
        <translation>bestätigt</translation>
    </message>
    <message>
        <source>pending</source>
        <translation>wartet</translation>
    </message>
    <message>
        <source>File</source>
        <translation>Datei</translation>
    </message>
    <message>
        <source>Size</source>
        <translation>Größe</translation>
    </message>
    <message>
        <source>Changed</source>
        <translation>Geändert</translation>
    </message>
    <message>
        <source>State</source>
        <translation>Zustand</translation>
    </message>
</context>
<context>
    <name>InstrumentPane</name>
    <message>
        <source>Serial number</source>
        <translation>Seriennummer</translation>
    </message>
    <message>
        <source>Address</source>
        <translation>Adresse</translation>
    </message>
    <message>
        <source>Mode</source>
        <translation>Betriebsart</translation>
    </message>
    <message>
        <source>Technician</source>
        <translation>Techniker</translation>
    </message>
    <message>
        <source>Active</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Job panel</source>
        <translation>Auftragsfeld</translation>
    </message>
    <message>
        <source>Job view</source>
        <translation>Auftragsansicht</translation>
    </message>
    <message>
        <source>Command</source>
        <translation>Befehl</translation>
    </message>
    <message>
        <source>Storage</source>
        <translation>Speicher</translation>
    </message>
    <message>
        <source>The longest turn of the event loop in the last 10 seconds</source>
        <translation>Der längste Umlauf der Ereignisschleife in den letzten 10 Sekunden</translation>
    </message>
    <message>
        <source>Longest turn</source>
        <translation>Längster Umlauf</translation>
    </message>
</context>
<context>
    <name>InstrumentText</name>
    <message>
        <source>%1, shows the job</source>
        <translation>%1, zeigt den Auftrag</translation>
    </message>
    <message>
        <source>none</source>
        <translation>keiner</translation>
    </message>
    <message>
        <source>away</source>
        <translation>nicht da</translation>
    </message>
    <message>
        <source>%1 free</source>
        <translation>%1 frei</translation>
    </message>
    <message>
        <source>The storage holds %1.</source>
        <translation>Der Speicher fasst %1.</translation>
    </message>
    <message>
        <source>closed</source>
        <translation>geschlossen</translation>
    </message>
    <message>
        <source>open since %1</source>
        <translation>offen seit %1</translation>
    </message>
    <message>
        <source>closed since %1</source>
        <translation>geschlossen seit %1</translation>
    </message>
    <message>
        <source>reset at %1</source>
        <translation>zurückgesetzt um %1</translation>
    </message>
    <message>
        <source>as at the start</source>
        <translation>wie am Anfang</translation>
    </message>
    <message>
        <source>%1 at %2</source>
        <translation>%1 um %2</translation>
    </message>
    <message>
        <source>%1 ms</source>
        <translation>%1 ms</translation>
    </message>
</context>
<context>
    <name>JournalModel</name>
    <message>
        <source>none</source>
        <translation>keiner</translation>
    </message>
    <message>
        <source>%1 ms</source>
        <translation>%1 ms</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Client</source>
        <translation>Client</translation>
    </message>
    <message>
        <source>Method</source>
        <translation>Methode</translation>
    </message>
    <message>
        <source>URI</source>
        <translation>URI</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Status</translation>
    </message>
    <message>
        <source>Duration</source>
        <translation>Dauer</translation>
    </message>
    <message>
        <source>Fault</source>
        <translation>Störung</translation>
    </message>
    <message>
        <source>Error and reason</source>
        <translation>Fehler und Grund</translation>
    </message>
</context>
<context>
    <name>JournalPane</name>
    <message>
        <source>Copy as &amp;curl</source>
        <translation>Als &amp;curl kopieren</translation>
    </message>
    <message>
        <source>C&amp;lear the journal</source>
        <translation>Journal &amp;leeren</translation>
    </message>
    <message>
        <source>A request that is selected is shown here.</source>
        <translation>Hier steht die ausgewählte Anfrage.</translation>
    </message>
    <message>
        <source>Filter (Ctrl+F)</source>
        <translation>Filter (Strg+F)</translation>
    </message>
    <message>
        <source>&amp;Failures only</source>
        <translation>Nur &amp;Fehlschläge</translation>
    </message>
</context>
<context>
    <name>PanelWindow</name>
    <message>
        <source>&amp;Journal</source>
        <translation>&amp;Journal</translation>
    </message>
    <message>
        <source>Fil&amp;es</source>
        <translation>Dat&amp;eien</translation>
    </message>
    <message>
        <source>Fa&amp;ults</source>
        <translation>&amp;Störungen</translation>
    </message>
    <message>
        <source>%1 at %2</source>
        <translation>%1 auf %2</translation>
    </message>
    <message>
        <source>&amp;Instrument</source>
        <translation>&amp;Instrument</translation>
    </message>
    <message>
        <source>&amp;Measure</source>
        <translation>&amp;Messen</translation>
    </message>
    <message>
        <source>Measure &amp;again and again</source>
        <translation>&amp;Immer wieder messen</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Beenden</translation>
    </message>
    <message>
        <source>&amp;Requests</source>
        <translation>&amp;Anfragen</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>A&amp;nsicht</translation>
    </message>
    <message>
        <source>&amp;Dark</source>
        <translation>&amp;Dunkel</translation>
    </message>
    <message>
        <source>&amp;Full screen</source>
        <translation>&amp;Vollbild</translation>
    </message>
</context>
<context>
    <name>RequestText</name>
    <message>
        <source>Status: %1, after %2 ms</source>
        <translation>Status: %1, nach %2 ms</translation>
    </message>
    <message>
        <source>none</source>
        <translation>keiner</translation>
    </message>
    <message>
        <source>Error: %1</source>
        <translation>Fehler: %1</translation>
    </message>
    <message>
        <source>Reason: %1</source>
        <translation>Grund: %1</translation>
    </message>
    <message>
        <source>Fault: %1</source>
        <translation>Störung: %1</translation>
    </message>
    <message>
        <source>%1 from %2, %3 bytes received, %4 sent</source>
        <translation>%1 von %2, %3 Byte empfangen, %4 gesendet</translation>
    </message>
</context>
<context>
    <name>TransferListModel</name>
    <message>
        <source>Upload from %1</source>
        <translation>Hochladen von %1</translation>
    </message>
    <message>
        <source>Download to %1</source>
        <translation>Herunterladen nach %1</translation>
    </message>
    <message>
        <source>%1 of %2</source>
        <translation>%1 von %2</translation>
    </message>
    <message>
        <source>%1/s</source>
        <translation>%1/s</translation>
    </message>
    <message>
        <source>Transfer</source>
        <translation>Übertragung</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Fortschritt</translation>
    </message>
    <message>
        <source>Rate</source>
        <translation>Rate</translation>
    </message>
</context>
<context>
    <name>WorkOrderListModel</name>
    <message>
        <source>%1, active</source>
        <translation>%1, aktiv</translation>
    </message>
    <message>
        <source>Work order</source>
        <translation>Arbeitsauftrag</translation>
    </message>
    <message>
        <source>Stored</source>
        <translation>Gespeichert</translation>
    </message>
</context>
</TS>
