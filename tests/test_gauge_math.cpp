// Core tests of the gauge framework arithmetic, feed ages and page layout.
