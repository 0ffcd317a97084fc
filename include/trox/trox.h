// Reading DAQ data of any generation. Includes all of namespace trox:
//
//   data_set.h      data files, runs and periods; their channels
//   event_reader.h  events of selected channels, in a range, synchronised
//   record.h        typed values of a record
//   basics.h        views, times, vocabulary      error.h  the exception
#ifndef TROX_TROX_TROX_H
#define TROX_TROX_TROX_H

#include "basics.h"
#include "data_set.h"
#include "error.h"
#include "event_reader.h"
#include "record.h"

#endif
