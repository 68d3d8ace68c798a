package com.tarvoln.zem.e2e;

import com.tarvoln.zem.BufferPool;
import com.tarvoln.zem.MediaUnit;
import java.io.ByteArrayOutputStream;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

/** Takes units from a pool and keeps their bytes. */
final class Recording {
    private final BufferPool pool;
    final List<byte[]> units = new ArrayList<>();

    Recording(BufferPool pool) {
        this.pool = pool;
    }

    /** Takes units until {@code wanted} have come in all; fails when one takes longer than 30 s. */
    void takeUntil(int wanted) throws InterruptedException {
        while (units.size() < wanted) {
            MediaUnit unit = pool.take(30, TimeUnit.SECONDS);
            Check.that(unit != null, "only " + units.size() + " of " + wanted + " units came");
            keep(unit);
        }
    }

    /** Takes what comes within the time. */
    void takeFor(long millis) throws InterruptedException {
        for (MediaUnit unit = pool.take(millis, TimeUnit.MILLISECONDS); unit != null;
                unit = pool.take(0, TimeUnit.MILLISECONDS)) {
            keep(unit);
        }
    }

    private void keep(MediaUnit unit) {
        byte[] bytes = new byte[unit.size()];
        unit.payload().get(bytes);
        pool.release(unit);
        units.add(bytes);
    }

    byte[] stream() {
        ByteArrayOutputStream all = new ByteArrayOutputStream();
        units.forEach(all::writeBytes);
        return all.toByteArray();
    }
}
