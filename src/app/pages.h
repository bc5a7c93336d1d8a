// The pages the entry drives: each writes its frame around the directory
// action that fills it.
#pragma once

#include <string>

#include "web/request.h"

namespace cgicc {
class FormEntry;
}

namespace kestrel {

class ServerUrl;

// The results page for the searchfor element. Returns 0.
int handleSearchRequest(Request& rq, const cgicc::FormEntry& searchfor);

// The vCard download of the entry cn=`key`: its header, then the card.
void writeVcardResponse(Request& rq, const std::string& key);

// The modify form of the entry cn=`key`.
void writeModifyPage(Request& rq, const std::string& key);

// The information page of the entry cn=`key`; `baseUrl` gives the Return
// link's address.
void writeInfoPage(Request& rq, ServerUrl& baseUrl, const std::string& key);

// The page that asks for the password before a deletion; `received` is the
// createdeleteform value as the form parser gave it.
void writeDeleteConfirmationPage(Request& rq, const std::string& received);

// The page for a request that named no action this program knows.
void writeFallbackPage(Request& rq);

}  // namespace kestrel
