// A GeneralName in words: a directory name as RFC 4514 writes it, the other kinds with a prefix.
#pragma once

#include <string>

#include "outside/ztasn1/general_name.h"

namespace Zanthorel {
namespace CApi {

// "CN=Test TSA,O=Example", "DNS:tsa.example", "URI:http://tsa.example/", "email:a@example",
// "IP:192.0.2.1", "RID:1.2.3"; "othername:<oid>:#<hex>", "X400:#<hex>", "EdiPartyName:#<hex>".
std::string generalNameText(const ASN1::CGeneralName& name);

// The DER Name as RFC 4514 text: the last RDN first, "+" within an RDN, special characters
// escaped, a value that is no string as "#" and its hex encoding. Bytes that are no Name give
// "#" and their hex.
std::string nameText(const CBlob& name);

}  // namespace CApi
}  // namespace Zanthorel
