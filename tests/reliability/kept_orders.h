#pragma once

class DHost;

// A host keeps objects of orders that have gone for the next ones, up to a number. It has as many of them
// afterwards, so that objects that are counted from now on grow by nothing but what is never given back.
void keepMostOrders(DHost& host);
