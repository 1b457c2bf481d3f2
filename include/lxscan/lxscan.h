// The scan file module: everything of namespace lxscan.
#ifndef LXSCAN_LXSCAN_H
#define LXSCAN_LXSCAN_H

#include <lxscan/convert.h>
#include <lxscan/exporters.h>
#include <lxscan/scan_header.h>
#include <lxscan/scan_reader.h>
#include <lxscan/scan_writer.h>
#include <lxscan/synthetic.h>
#include <lxscan/types.h>

#endif
