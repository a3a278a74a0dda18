// The host's maker and product identifiers, chosen once here. Tool plug-ins build their
// metadata IID from them and the host checks the tool interface identifier built from them.
#ifndef KXHOSTIDENTITY_H
#define KXHOSTIDENTITY_H

#define KX_HOST_MAKER_ID "kxlabs"
#define KX_HOST_PRODUCT_ID "tessaly"

// "com.<maker>.<product>.CKXToolPluginBase/1.0": the interface every tool plug-in implements.
#define KX_TOOL_PLUGIN_INTERFACE_IID                                                               \
    "com." KX_HOST_MAKER_ID "." KX_HOST_PRODUCT_ID ".CKXToolPluginBase/1.0"

// "<maker>.<product>.": the prefix of a tool plug-in's own metadata IID.
#define KX_TOOL_PLUGIN_IID_PREFIX KX_HOST_MAKER_ID "." KX_HOST_PRODUCT_ID "."

#endif // KXHOSTIDENTITY_H
