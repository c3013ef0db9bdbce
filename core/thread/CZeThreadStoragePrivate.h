/*
 * Process-exit teardown of the per-thread storage destructor table.
 */
#ifndef CZETHREADSTORAGEPRIVATE_H
#define CZETHREADSTORAGEPRIVATE_H

// Destroys the table once; afterwards set() overwrites without destroying and
// finish() does nothing.
void CZeThreadStorageDestroyTable();

#endif // CZETHREADSTORAGEPRIVATE_H
