// Core tests of the compass and clock arithmetic.
