// What shared_object_test loads: a function that another object may replace, and one that calls it.

extern "C" {
__attribute__((visibility("default"))) int UtOwnNumber() {
    return NUMBER;
}
__attribute__((visibility("default"))) int UtNumberSeen() {
    return UtOwnNumber();
}
}
