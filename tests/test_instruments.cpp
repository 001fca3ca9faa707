// Core tests of the speedometer, sky view, altimeter and mileage arithmetic.
