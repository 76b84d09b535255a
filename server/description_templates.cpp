// The texts of the three description files, written as they are to the
// description directory. Their exact bytes matter: the start-up check compares
// each service description with its template by size and, ignoring case, by
// content, so an edit here must keep each service description at the size
// recorded in description_files.cpp (the unit tests check it).
//
// Layouts: the device description is indented with tabs for the outer levels
// and blanks inside the lists; the ContentDirectory description keeps one
// argument and one state variable per line without indentation; the
// ConnectionManager description puts every element on its own line, indented
// with blanks (4 for the first level, 12 for the second, 4 more for each level
// below) and has no final line end. These layouts give exactly the recorded
// sizes (7352 and 5786 bytes) of the two service descriptions.
#include "description_templates.h"

namespace dms_server {

extern const char kDefaultManufacturerUrl[] = "http://www.tellurex.example/dms/";

// 2564 bytes. Its manufacturerURL and modelURL hold kDefaultManufacturerUrl,
// which the writer replaces with the configured maker's address.
extern const char kDeviceDescriptionTemplate[] = R"xml(<?xml version="1.0" encoding="utf-8"?>
<root xmlns="urn:schemas-upnp-org:device-1-0" xmlns:dlna="urn:schemas-dlna-org:device-1-0">
	<specVersion>
		<major>1</major>
		<minor>0</minor>
	</specVersion>
	<device>
		<dlna:X_DLNADOC xmlns:dlna="urn:schemas-dlna-org:device-1-0">DMS-1.50</dlna:X_DLNADOC>
		<dlna:X_DLNADOC xmlns:dlna="urn:schemas-dlna-org:device-1-0">M-DMS-1.50</dlna:X_DLNADOC>
		<deviceType>urn:schemas-upnp-org:device:MediaServer:1</deviceType>
		<friendlyName>[Camera]KV900</friendlyName>
		<manufacturer>Tellurex</manufacturer>
		<manufacturerURL>http://www.tellurex.example/dms/</manufacturerURL>
		<modelDescription>Provides content through UPnP ContentDirectory service</modelDescription>
		<modelName>QV Media Server</modelName>
		<modelNumber>0.765</modelNumber>
		<modelURL>http://www.tellurex.example/dms/</modelURL>
		<UDN></UDN>
		<iconList>
		    <icon>
		        <mimetype>image/jpeg</mimetype>
		        <width>48</width>
		        <height>48</height>
		        <depth>24</depth>
		        <url>/icon_48x48.jpg</url>
		    </icon>
		    <icon>
		        <mimetype>image/jpeg</mimetype>
		        <width>120</width>
		        <height>120</height>
		        <depth>24</depth>
		        <url>/icon_120x120.jpg</url>
		    </icon>
		    <icon>
		        <mimetype>image/png</mimetype>
		        <width>48</width>
		        <height>48</height>
		        <depth>24</depth>
		        <url>/icon_48x48.png</url>
		    </icon>
		    <icon>
		        <mimetype>image/png</mimetype>
		        <width>120</width>
		        <height>120</height>
		        <depth>24</depth>
		        <url>/icon_120x120.png</url>
		    </icon>
		</iconList>
		<serviceList>
		    <service>
		        <serviceType>urn:schemas-upnp-org:service:ConnectionManager:1</serviceType>
		        <serviceId>urn:upnp-org:serviceId:ConnectionManager</serviceId>
		        <SCPDURL>/ConnectionManager_1.xml</SCPDURL>
		        <controlURL>/_urn:schemas-upnp-org:service:ConnectionManager_control</controlURL>
		        <eventSubURL>/_urn:schemas-upnp-org:service:ConnectionManager_event</eventSubURL>
		    </service>
		    <service>
		        <serviceType>urn:schemas-upnp-org:service:ContentDirectory:1</serviceType>
		        <serviceId>urn:upnp-org:serviceId:ContentDirectory</serviceId>
		        <SCPDURL>/ContentDirectory_1.xml</SCPDURL>
		        <controlURL>/_urn:schemas-upnp-org:service:ContentDirectory_control</controlURL>
		        <eventSubURL>/_urn:schemas-upnp-org:service:ContentDirectory_event</eventSubURL>
		    </service>
		</serviceList>
	</device>
</root>
)xml";

// 7352 bytes.
extern const char kContentDirectoryTemplate[] = R"xml(<?xml version="1.0" encoding="utf-8"?>
<scpd xmlns="urn:schemas-upnp-org:service-1-0">
<specVersion><major>1</major><minor>0</minor></specVersion>
<actionList>
<action><name>Browse</name><argumentList>
<argument><name>ObjectID</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_ObjectID</relatedStateVariable></argument>
<argument><name>BrowseFlag</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_BrowseFlag</relatedStateVariable></argument>
<argument><name>Filter</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_Filter</relatedStateVariable></argument>
<argument><name>StartingIndex</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_Index</relatedStateVariable></argument>
<argument><name>RequestedCount</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_Count</relatedStateVariable></argument>
<argument><name>SortCriteria</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_SortCriteria</relatedStateVariable></argument>
<argument><name>Result</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_Result</relatedStateVariable></argument>
<argument><name>NumberReturned</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_Count</relatedStateVariable></argument>
<argument><name>TotalMatches</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_Count</relatedStateVariable></argument>
<argument><name>UpdateID</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_UpdateID</relatedStateVariable></argument>
</argumentList></action>
<action><name>GetSearchCapabilities</name><argumentList>
<argument><name>SearchCaps</name><direction>out</direction><relatedStateVariable>SearchCapabilities</relatedStateVariable></argument>
</argumentList></action>
<action><name>GetSortCapabilities</name><argumentList>
<argument><name>SortCaps</name><direction>out</direction><relatedStateVariable>SortCapabilities</relatedStateVariable></argument>
</argumentList></action>
<action><name>GetSystemUpdateID</name><argumentList>
<argument><name>Id</name><direction>out</direction><relatedStateVariable>SystemUpdateID</relatedStateVariable></argument>
</argumentList></action>
<action><name>ImportResource</name><argumentList>
<argument><name>SourceURI</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_URI</relatedStateVariable></argument>
<argument><name>DestinationURI</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_URI</relatedStateVariable></argument>
<argument><name>TransferID</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_TransferID</relatedStateVariable></argument>
</argumentList></action>
<action><name>ExportResource</name><argumentList>
<argument><name>SourceURI</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_URI</relatedStateVariable></argument>
<argument><name>DestinationURI</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_URI</relatedStateVariable></argument>
<argument><name>TransferID</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_TransferID</relatedStateVariable></argument>
</argumentList></action>
<action><name>StopTransferResource</name><argumentList>
<argument><name>TransferID</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_TransferID</relatedStateVariable></argument>
</argumentList></action>
<action><name>GetTransferProgress</name><argumentList>
<argument><name>TransferID</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_TransferID</relatedStateVariable></argument>
<argument><name>TransferStatus</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_TransferStatus</relatedStateVariable></argument>
<argument><name>TransferLength</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_TransferLength</relatedStateVariable></argument>
<argument><name>TransferTotal</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_TransferTotal</relatedStateVariable></argument>
</argumentList></action>
<action><name>DestroyObject</name><argumentList>
<argument><name>ObjectID</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_ObjectID</relatedStateVariable></argument>
</argumentList></action>
<action><name>CreateObject</name><argumentList>
<argument><name>ContainerID</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_ObjectID</relatedStateVariable></argument>
<argument><name>Elements</name><direction>in</direction><relatedStateVariable>A_ARG_TYPE_Result</relatedStateVariable></argument>
<argument><name>ObjectID</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_ObjectID</relatedStateVariable></argument>
<argument><name>Result</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_Result</relatedStateVariable></argument>
</argumentList></action>
<action><name>X_GetFeatureList</name><argumentList>
<argument><name>FeatureList</name><direction>out</direction><relatedStateVariable>A_ARG_TYPE_Featurelist</relatedStateVariable></argument>
</argumentList></action>
</actionList>
<serviceStateTable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_SortCriteria</name><dataType>string</dataType><defaultValue></defaultValue></stateVariable>
<stateVariable sendEvents="yes"><name>TransferIDs</name><dataType>string</dataType><defaultValue></defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_UpdateID</name><dataType>ui4</dataType><defaultValue>0</defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_Filter</name><dataType>string</dataType><defaultValue>*</defaultValue></stateVariable>
<stateVariable sendEvents="yes"><name>ContainerUpdateIDs</name><dataType>string</dataType><defaultValue></defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_Result</name><dataType>string</dataType><defaultValue>Result</defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_Index</name><dataType>ui4</dataType><defaultValue>0</defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_ObjectID</name><dataType>string</dataType><defaultValue>0</defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>SortCapabilities</name><dataType>string</dataType></stateVariable>
<stateVariable sendEvents="no"><name>SearchCapabilities</name><dataType>string</dataType><defaultValue></defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_Count</name><dataType>ui4</dataType><defaultValue>0</defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_BrowseFlag</name><dataType>string</dataType><defaultValue>BrowseMetadata</defaultValue><allowedValueList><allowedValue>BrowseMetadata</allowedValue><allowedValue>BrowseDirectChildren</allowedValue></allowedValueList></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_URI</name><dataType>uri</dataType><defaultValue></defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_TransferID</name><dataType>ui4</dataType><defaultValue></defaultValue></stateVariable>
<stateVariable sendEvents="yes"><name>SystemUpdateID</name><dataType>ui4</dataType><defaultValue>0</defaultValue></stateVariable>
<stateVariable sendEvents="no"><name>A_ARG_TYPE_Featurelist</name><dataType>string</dataType><defaultValue></defaultValue></stateVariable>
</serviceStateTable>
</scpd>
)xml";

// 5786 bytes: the ConnectionManager:1 actions the stack answers itself
// (GetProtocolInfo, GetCurrentConnectionIDs, GetCurrentConnectionInfo); the
// optional PrepareForConnection and ConnectionComplete are not offered.
extern const char kConnectionManagerTemplate[] = R"xml(<?xml version="1.0" encoding="utf-8"?>
<scpd xmlns="urn:schemas-upnp-org:service-1-0">
    <specVersion>
            <major>1</major>
            <minor>0</minor>
    </specVersion>
    <actionList>
            <action>
                <name>GetProtocolInfo</name>
                <argumentList>
                    <argument>
                        <name>Source</name>
                        <direction>out</direction>
                        <relatedStateVariable>SourceProtocolInfo</relatedStateVariable>
                    </argument>
                    <argument>
                        <name>Sink</name>
                        <direction>out</direction>
                        <relatedStateVariable>SinkProtocolInfo</relatedStateVariable>
                    </argument>
                </argumentList>
            </action>
            <action>
                <name>GetCurrentConnectionIDs</name>
                <argumentList>
                    <argument>
                        <name>ConnectionIDs</name>
                        <direction>out</direction>
                        <relatedStateVariable>CurrentConnectionIDs</relatedStateVariable>
                    </argument>
                </argumentList>
            </action>
            <action>
                <name>GetCurrentConnectionInfo</name>
                <argumentList>
                    <argument>
                        <name>ConnectionID</name>
                        <direction>in</direction>
                        <relatedStateVariable>A_ARG_TYPE_ConnectionID</relatedStateVariable>
                    </argument>
                    <argument>
                        <name>RcsID</name>
                        <direction>out</direction>
                        <relatedStateVariable>A_ARG_TYPE_RcsID</relatedStateVariable>
                    </argument>
                    <argument>
                        <name>AVTransportID</name>
                        <direction>out</direction>
                        <relatedStateVariable>A_ARG_TYPE_AVTransportID</relatedStateVariable>
                    </argument>
                    <argument>
                        <name>ProtocolInfo</name>
                        <direction>out</direction>
                        <relatedStateVariable>A_ARG_TYPE_ProtocolInfo</relatedStateVariable>
                    </argument>
                    <argument>
                        <name>PeerConnectionManager</name>
                        <direction>out</direction>
                        <relatedStateVariable>A_ARG_TYPE_ConnectionManager</relatedStateVariable>
                    </argument>
                    <argument>
                        <name>PeerConnectionID</name>
                        <direction>out</direction>
                        <relatedStateVariable>A_ARG_TYPE_ConnectionID</relatedStateVariable>
                    </argument>
                    <argument>
                        <name>Direction</name>
                        <direction>out</direction>
                        <relatedStateVariable>A_ARG_TYPE_Direction</relatedStateVariable>
                    </argument>
                    <argument>
                        <name>Status</name>
                        <direction>out</direction>
                        <relatedStateVariable>A_ARG_TYPE_ConnectionStatus</relatedStateVariable>
                    </argument>
                </argumentList>
            </action>
    </actionList>
    <serviceStateTable>
            <stateVariable sendEvents="yes">
                <name>SourceProtocolInfo</name>
                <dataType>string</dataType>
            </stateVariable>
            <stateVariable sendEvents="yes">
                <name>SinkProtocolInfo</name>
                <dataType>string</dataType>
            </stateVariable>
            <stateVariable sendEvents="yes">
                <name>CurrentConnectionIDs</name>
                <dataType>string</dataType>
            </stateVariable>
            <stateVariable sendEvents="no">
                <name>A_ARG_TYPE_ConnectionStatus</name>
                <dataType>string</dataType>
                <allowedValueList>
                    <allowedValue>OK</allowedValue>
                    <allowedValue>ContentFormatMismatch</allowedValue>
                    <allowedValue>InsufficientBandwidth</allowedValue>
                    <allowedValue>UnreliableChannel</allowedValue>
                    <allowedValue>Unknown</allowedValue>
                </allowedValueList>
            </stateVariable>
            <stateVariable sendEvents="no">
                <name>A_ARG_TYPE_ConnectionManager</name>
                <dataType>string</dataType>
            </stateVariable>
            <stateVariable sendEvents="no">
                <name>A_ARG_TYPE_Direction</name>
                <dataType>string</dataType>
                <allowedValueList>
                    <allowedValue>Input</allowedValue>
                    <allowedValue>Output</allowedValue>
                </allowedValueList>
            </stateVariable>
            <stateVariable sendEvents="no">
                <name>A_ARG_TYPE_ProtocolInfo</name>
                <dataType>string</dataType>
            </stateVariable>
            <stateVariable sendEvents="no">
                <name>A_ARG_TYPE_ConnectionID</name>
                <dataType>i4</dataType>
            </stateVariable>
            <stateVariable sendEvents="no">
                <name>A_ARG_TYPE_AVTransportID</name>
                <dataType>i4</dataType>
            </stateVariable>
            <stateVariable sendEvents="no">
                <name>A_ARG_TYPE_RcsID</name>
                <dataType>i4</dataType>
            </stateVariable>
    </serviceStateTable>
</scpd>)xml";

}  // namespace dms_server
