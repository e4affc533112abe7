// Small NodeSet documents: a stand-in for the namespace-0 model with the nodes that the
// tests' models refer to, and, for runs of the real executable, the plant model (one node
// of five classes) that requires it. Loaded in this order, the plant namespace gets index 2.
#pragma once

#include <string>
#include <string_view>

namespace vos::test {

// The stand-in for the namespace-0 model: the reference types, Root, Objects,
// BaseObjectType and a few data types, published on `published`, and with a LastModified
// time on the document when `last_modified` is not empty.
inline std::string mini_base_model(std::string_view published,
                                   std::string_view last_modified = {}) {
  std::string doc = R"(<?xml version="1.0" encoding="utf-8"?>
<UANodeSet xmlns="http://opcfoundation.org/UA/2011/03/UANodeSet.xsd")";
  if (!last_modified.empty()) doc.append(" LastModified=\"").append(last_modified).append("\"");
  doc.append(R"(>
  <Models><Model ModelUri="http://opcfoundation.org/UA/" Version="1.05.03" PublicationDate=")");
  doc.append(published);
  doc.append(R"("/></Models>
  <Aliases><Alias Alias="HasSubtype">i=45</Alias><Alias Alias="Organizes">i=35</Alias></Aliases>
  <UAReferenceType NodeId="i=31" BrowseName="References" IsAbstract="true"><DisplayName>References</DisplayName></UAReferenceType>
  <UAReferenceType NodeId="i=33" BrowseName="HierarchicalReferences" IsAbstract="true"><DisplayName>HierarchicalReferences</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=31</Reference></References></UAReferenceType>
  <UAReferenceType NodeId="i=34" BrowseName="HasChild" IsAbstract="true"><DisplayName>HasChild</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=33</Reference></References></UAReferenceType>
  <UAReferenceType NodeId="i=45" BrowseName="HasSubtype"><DisplayName>HasSubtype</DisplayName><InverseName>SubtypeOf</InverseName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=34</Reference></References></UAReferenceType>
  <UAReferenceType NodeId="i=35" BrowseName="Organizes"><DisplayName>Organizes</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=33</Reference></References></UAReferenceType>
  <UAReferenceType NodeId="i=47" BrowseName="HasComponent"><DisplayName>HasComponent</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=34</Reference></References></UAReferenceType>
  <UAReferenceType NodeId="i=40" BrowseName="HasTypeDefinition"><DisplayName>HasTypeDefinition</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=31</Reference></References></UAReferenceType>
  <UAReferenceType NodeId="i=38" BrowseName="HasEncoding"><DisplayName>HasEncoding</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=31</Reference></References></UAReferenceType>
  <UAObject NodeId="i=84" BrowseName="Root"><DisplayName>Root</DisplayName></UAObject>
  <UAObject NodeId="i=85" BrowseName="Objects"><DisplayName>Objects</DisplayName>
    <References><Reference ReferenceType="Organizes" IsForward="false">i=84</Reference></References></UAObject>
  <UAObjectType NodeId="i=58" BrowseName="BaseObjectType"><DisplayName>BaseObjectType</DisplayName></UAObjectType>
  <UADataType NodeId="i=24" BrowseName="BaseDataType" IsAbstract="true"><DisplayName>BaseDataType</DisplayName></UADataType>
  <UADataType NodeId="i=22" BrowseName="Structure" IsAbstract="true"><DisplayName>Structure</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
  <UADataType NodeId="i=29" BrowseName="Enumeration" IsAbstract="true"><DisplayName>Enumeration</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
  <UADataType NodeId="i=6" BrowseName="Int32"><DisplayName>Int32</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
  <UADataType NodeId="i=12" BrowseName="String"><DisplayName>String</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
</UANodeSet>
)");
  return doc;
}

// The base model as the plant model requires it.
inline const std::string kMiniBaseModel = mini_base_model("2023-01-01T00:00:00Z");

// Five nodes; six references reach the file: three of the model's own and three from the
// base model into it (Objects, BaseObjectType and Enumeration to their model children).
inline constexpr std::string_view kMiniPlantModel = R"(<?xml version="1.0" encoding="utf-8"?>
<UANodeSet xmlns="http://opcfoundation.org/UA/2011/03/UANodeSet.xsd">
  <NamespaceUris><Uri>urn:vos:test:plant</Uri></NamespaceUris>
  <Models><Model ModelUri="urn:vos:test:plant" Version="1.0.0" PublicationDate="2023-05-01T00:00:00Z">
    <RequiredModel ModelUri="http://opcfoundation.org/UA/" Version="1.05.03" PublicationDate="2023-01-01T00:00:00Z"/></Model></Models>
  <Aliases><Alias Alias="HasSubtype">i=45</Alias><Alias Alias="Organizes">i=35</Alias>
    <Alias Alias="HasComponent">i=47</Alias><Alias Alias="HasTypeDefinition">i=40</Alias><Alias Alias="Int32">i=6</Alias></Aliases>
  <UAObjectType NodeId="ns=1;i=1" BrowseName="1:MotorType"><DisplayName>MotorType</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=58</Reference></References></UAObjectType>
  <UAObject NodeId="ns=1;i=2" BrowseName="1:Motor1"><DisplayName>Motor 1</DisplayName><Description>The first motor</Description>
    <Documentation>Drives the belt.</Documentation>
    <References><Reference ReferenceType="Organizes" IsForward="false">i=85</Reference>
      <Reference ReferenceType="HasTypeDefinition">ns=1;i=1</Reference>
      <Reference ReferenceType="HasComponent">ns=1;i=3</Reference>
      <Reference ReferenceType="HasComponent">ns=1;i=5</Reference></References></UAObject>
  <UAVariable NodeId="ns=1;i=3" BrowseName="1:Speed" DataType="Int32"><DisplayName>Speed</DisplayName>
    <Value><Int32 xmlns="http://opcfoundation.org/UA/2008/02/Types.xsd">42</Int32></Value></UAVariable>
  <UADataType NodeId="ns=1;i=4" BrowseName="1:Mode"><DisplayName>Mode</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=29</Reference></References>
    <Definition Name="1:Mode"><Field Name="Off" Value="0"/><Field Name="On" Value="1"/></Definition></UADataType>
  <UAMethod NodeId="ns=1;i=5" BrowseName="1:Start"><DisplayName>Start</DisplayName></UAMethod>
</UANodeSet>
)";

}  // namespace vos::test
