#pragma once
// Whether a state is in the library's own form: whether writing its
// namespaces again, as encode writes them, gives back the very bytes read,
// and how long that form is.
//
// Memory. The written form is never held: the namespaces state is made piece
// by piece (forEachNameSpacesStatePiece: a namespace's records are handed on
// as the bytes they already are), each piece is deflated as it comes, and
// deflate's output is compared with the bytes read chunk by chunk. So the
// check costs a few hundred kilobytes (zlib's own state and one output
// chunk) beyond the namespaces it reads, whatever their size.
//
// Faithfulness. At zlib levels 1 to 9 (and -1, zlib's default, 6) deflate
// makes the same stream whether its input and output come whole or in
// pieces: what it emits depends only on the data. The tests check this at
// every level against the library's writer. At level 0 the stored blocks
// follow the room given for output, so a state stored at level 0 (not
// compressed; the library never writes one, an edited document may) is
// compressed in one call, as the library compresses: that costs the
// namespaces state and its stored form once each while the check runs.
// Namespaces without any namespace and with version 0.0.0.0 (written as
// header and footer alone) are written by writePersistedState.
//
// Namespaces the library does not write (a top-level record that is not a
// namespace list) throw the library's exception, as writePersistedState
// throws it, before anything is compressed.

#include "PersistedStateTool.h"
#include "RecordWalker.h"

#include "General/ByteBuffer.h"
#include "attributebytes/AttributeBytesNameSpaces.h"

#include <cstddef>
#include <functional>

namespace hdutil {

struct CanonicalForm {
  // The library's form is exactly `bytes`.
  bool same = false;
  // The size of the library's form.
  std::size_t size = 0;
};

CanonicalForm compareWithCanonicalForm(const AttributeBytesNameSpaces& nameSpaces, const StateWriting& writing,
                                       const ByteBuffer& bytes);

// The namespaces state (AttributeBytesNameSpaces::GetAttributeBytesNameSpacesState)
// in consecutive pieces, without copying the records of any namespace: the
// state of namespaces without records ("ABNS", the version, "ABIL", "ABRL"),
// then per namespace record, in the list's order, its id and list header as
// the library writes them, followed by the list's record bytes. Each piece
// is valid only during the call that shows it.
void forEachNameSpacesStatePiece(const AttributeBytesNameSpaces& nameSpaces, const std::function<void(Bytes)>& piece);

}  // namespace hdutil
