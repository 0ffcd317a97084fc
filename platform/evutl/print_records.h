// Printers of records that stand inside larger prints.
#ifndef TROX_EVUTL_PRINT_RECORDS_H
#define TROX_EVUTL_PRINT_RECORDS_H

#include "print_fields.h"

namespace trox_evutl
{

template <class Subhead> void print_subhead_fields(const Subhead& subhead, const field_printer& out) noexcept
{
    out.text("chname", subhead.chname);
    out.number("dtype", subhead.dtype);
    out.mask("error", subhead.error);
    out.number("ldata", subhead.ldata);
}

/// A sub-head in host order, at any address.
void print_subhead(const trox_serv_block_subhead* subhead, const field_printer& out) noexcept;
void print_subhead(const trox_serv_block_subhead_2010* subhead, const field_printer& out) noexcept;

} // namespace trox_evutl

#endif
