// luadocument_p.h: the script methods of the document value beyond save
// (queries, selections, edits, samples, regions, tags, close) and the
// clipboard value that cut and copy hand to a script.
#pragma once

#include "lfound.h"   // lua.h, with C linkage

// Adds the methods of lua/luadocument.cpp to the document type
// "KORVA.libtavo.TAVOAUDIO" (the metatable is made when it does not exist
// yet, so the order of registration does not matter) and registers the
// clipboard type "KORVA.libtavo.AUDIOSIGNAL". Leaves the stack as it found
// it. Call once from luaopen_libtavo.
void _TAVOLUA_RegisterDocumentMethods(lua_State *L);
