// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Makes deadband.csv: whether arrays differ by more than a deadband, as the npm package
// node-opcua-service-subscription says, which implements the data change filter of OPC UA.
//
//     npm install node-opcua-service-subscription@2.186.4
//     NODE_PATH=node_modules node make_deadband.js > deadband.csv
//
// Kept so that the table can be made again.

const { isOutsideDeadbandAbsolute, isOutsideDeadbandPercent } =
    require("node-opcua-service-subscription");
const { DataType, Variant, VariantArrayType } = require("node-opcua-variant");

// Park and Miller's generator, so that the table comes out the same each time.
let state = 4711;
const below = (limit) => {
    state = (state * 16807) % 2147483647;
    return state % limit;
};
const array = (values) =>
    new Variant({ dataType: DataType.Double, arrayType: VariantArrayType.Array, value: new Float64Array(values) });

console.log("before,after,limit,low,high,absolute,percent");
for (let i = 0; i < 300; ++i) {
    const size = 1 + below(3);
    const before = Array.from({ length: size }, () => (below(81) - 40) / 8);
    const after = before.map((value) => value + (below(3) === 0 ? (below(81) - 40) / 8 : 0));
    const limit = below(33) / 8;
    const low = -below(20);
    const high = low + 1 + below(40);
    const absolute = isOutsideDeadbandAbsolute(array(before), array(after), limit);
    const percent = isOutsideDeadbandPercent(array(before), array(after), limit, { low, high });
    console.log([before.join(" "), after.join(" "), limit, low, high, absolute ? 1 : 0, percent ? 1 : 0].join(","));
}
