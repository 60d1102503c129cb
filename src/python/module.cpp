// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_delivery.h"
#include "bind_rules.h"
#include "bind_storage.h"
#include "bind_streams.h"
#include "bind_types.h"
#include "call_gate.h"
#include "errors.h"
#include "pybind.h"

PYBIND11_MODULE(_native, module) {
    module.doc() = "What the package tessaryn is made of. Import tessaryn instead.";
    module.attr("__version__") = TESSARYN_VERSION;
    velmora::python::RegisterErrors();
    velmora::python::BindTypes(module);
    velmora::python::BindStreams(module);
    velmora::python::BindRules(module);
    velmora::python::BindDelivery(module);
    velmora::python::BindStorage(module);
    velmora::python::GetCallGate().Guard(module);
}
